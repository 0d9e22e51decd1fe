// Every allocation fails once under each of the exports that drawn sessions do not call: the call answers as
// documented and changes nothing, or goes through without; made again it goes through. Leaks are for the sanitizer
// to find.

#include "tests/faults/session.h"

namespace {

// What the calls work on: a.db, open, with items 1 and 2 and the pending ID 7.
struct Stage {
  TempFolder folder;
  DataBaseHandle* handle = nullptr;

  Stage() {
    InitPmTotalDataController();
    Session s(folder.path());
    s.open(0), s.insert(0, 1, 300, false, 3), s.insert(0, 2, 2500), s.close(0);
    open();
  }
  ~Stage() { ReleasePmTotalDataController(); }

  void open() {
    handle = OpenDataBaseFile(Pm(folder.path() / "a.db").c_str());
    RetainID(handle, 7, 1, u"seven");
  }

  std::string state() const {
    Model model;
    model.disk = ReadBytes(folder.path() / "a.db").value_or(Bytes());
    model.open();
    return model.differences(handle);
  }
};

bool Done(int32_t result) {
  EXPECT_TRUE(result == 0 || result == -1) << result;
  return result == 0;
}

// Makes a container of each kind, with elements, and releases it. Whether all went in; no more is counted than did.
bool FillContainers(Stage&) {
  static char element;
  const DLOrder order = [](const void*, uint32_t, const void*, uint32_t) { return 1; };
  void* block = Malloc(100);
  CommonPool* pool = CreateCommonPool(4, 16);
  SList* list = CreateEmptysList(1);
  DList dlist;
  const bool isMade = Done(DLCreate(&dlist));
  int32_t appended = 0;
  uint32_t linked = 0;
  for (int i = 0; i < 3; ++i) {
    if (list != nullptr && Done(AppendNodeTosList(&element, list))) ++appended;
    if (list != nullptr && Done(InsertNodeTosList(&element, list, nullptr))) ++appended;
    if (isMade && Done(DLInsert(&element, 1, &dlist))) ++linked;
    if (isMade && Done(DLInsertSort(&element, 1, order, &dlist))) ++linked;
  }
  EXPECT_EQ(isMade ? dlist.count : 0, linked);
  EXPECT_EQ(list != nullptr ? CountSlist(list->header) : 0, appended);
  if (list != nullptr) FreesList(list);
  if (pool != nullptr) ReleaseCommonPool(pool);
  if (AvlTree* tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 8)) ReleaseAvlTree(tree);
  Free(block);
  DLDestroy(&dlist);
  return block != nullptr && pool != nullptr && appended + linked == 12;
}

struct Row {
  const char* name;
  bool (*call)(Stage& s);    // whether it was done; refused otherwise
  const char* changes = "";  // how what is stored differs from the file then
};

const Row kRows[] = {
    {"up and down",
     [](Stage& s) {
       ReleasePmTotalDataController();
       const bool up = InitPmTotalDataController() == 1;
       seam::suspended = true;
       EXPECT_TRUE(up || InitPmTotalDataController() == 1);
       s.open();
       seam::suspended = false;
       return up;
     }},
    {"new ID", [](Stage& s) { return CreateNewItemID(s.handle, 1, u"new") != 0; }},
    {"retain", [](Stage& s) { return RetainID(s.handle, 8, 1, u"eight") == 1; }},
    {"insert, large",
     [](Stage& s) { return Done(InserItemToDataBase(s.handle, 1, Bytes(3 << 20).data(), 3 << 20, 0)); },
     " item 1 differs;"},
    {"report",
     [](Stage& s) {
       PrintAllItemInfo(Pm(s.folder.path() / "report").c_str());
       return true;
     }},
    {"look-ups",  // which find what there is even without
     [](Stage& s) {
       uint32_t pending = 0;
       EXPECT_EQ(GetItemIDByUserdata(s.handle, 2, u"bbb"), 1u);
       EXPECT_EQ(GetItemCount(s.handle, 2), 1u);
       EXPECT_EQ(FirstGetItemID(s.handle, 1), 2u);
       EXPECT_EQ(NextGetItemID(s.handle, 1), 0u);
       return GetItemAddons(s.handle, 1, &pending) != nullptr;
     }},
    {"containers", FillContainers},
};

TEST(Allocation, Fails) {
  for (const Row& row : kRows) {
    bool struck = true;
    for (int at = 0; struck && !HasFailure(); ++at) {
      SCOPED_TRACE(row.name + (", allocation " + std::to_string(at)));
      Stage s;
      seam::Arm(seam::Fault::kNoMemory, at);
      const bool done = row.call(s);
      seam::Disarm();
      struck = seam::struck != 0;
      EXPECT_TRUE(struck || at > 0);
      EXPECT_EQ(s.state(), done ? row.changes : "");
      EXPECT_TRUE(done || row.call(s));
      EXPECT_EQ(s.state(), row.changes);
    }
  }
}

}  // namespace
