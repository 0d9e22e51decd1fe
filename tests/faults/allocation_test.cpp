// Every allocation fails once under each of the exports that drawn sessions do not call: the call answers as
// documented and changes nothing, or goes through without; made again it goes through. Leaks are for the sanitizer
// to find.

#include <memory>

#include "tests/faults/session.h"

namespace {

uint32_t element = 5;

// What the calls work on: a.db, open, with items 1 and 2 and the pending ID 7; and one container of each kind.
struct Stage {
  TempFolder folder;
  DataBaseHandle* handle = nullptr;
  SList* list = CreateEmptysList(1);
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, 1, nullptr, 0);
  DList dlist{};

  Stage() {
    InitPmTotalDataController();
    Session s(folder.path());
    s.open(0), s.insert(0, 1, 300, false, 3), s.insert(0, 2, 2500), s.close(0);
    open();
    list->CmpsListNode = tree->CmpAvlNode = [](const void* a, const void* b) { return a < b ? -1 : a > b; };
    tree->FreeAvlElement = [](void*, void*) {};  // the elements are ours
    DLCreate(&dlist);
    for (int i = 0; i < 3; ++i) AppendNodeTosList(&element, list);
  }
  ~Stage() {
    FreesList(list);
    ReleaseAvlTree(tree);
    DLDestroy(&dlist);
    ReleasePmTotalDataController();
  }

  void open() {
    handle = OpenDataBaseFile(Pm(folder.path() / "a.db").c_str());
    RetainID(handle, 7, 1, u"seven");
  }

  // Everything that a call may change; the tree is left empty.
  auto state() const {
    Model model;
    model.disk = ReadBytes(folder.path() / "a.db").value_or(Bytes());
    model.open();
    return std::make_tuple(model.differences(handle), CountSlist(list->header), tree->root, dlist.count);
  }
};

bool Done(int32_t result) {
  EXPECT_TRUE(result == 0 || result == -1 || result == -2 || result == -4) << result;
  return result == 0;
}

struct Row {
  const char* name;
  bool (*call)(Stage& s);  // whether it was done; refused otherwise
};

const Row kRows[] = {
    {"up and down",
     [](Stage& s) {
       ReleasePmTotalDataController();
       const bool up = InitPmTotalDataController() == 1;
       seam::Suspend(true);
       EXPECT_TRUE(up || InitPmTotalDataController() == 1);
       s.open();
       seam::Suspend(false);
       return up;
     }},
    {"new ID", [](Stage& s) { return CreateNewItemID(s.handle, 1, u"new") != 0; }},
    {"retain", [](Stage& s) { return RetainID(s.handle, 8, 1, u"eight") == 1; }},
    {"insert, large",
     [](Stage& s) { return Done(InserItemToDataBase(s.handle, 1, Bytes(3 << 20).data(), 3 << 20, 0)); }},
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
    {"what is made and released",
     [](Stage&) {
       void* block = Malloc(100);
       CommonPool* pool = CreateCommonPool(4, 16);
       SList* list = CreateEmptysList(4);
       AvlTree* tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 8);
       DList dlist;
       bool made = Done(DLCreate(&dlist));
       made = Done(DLDestroy(&dlist)) && made && block && pool && list && tree;
       Free(block);
       if (pool != nullptr) ReleaseCommonPool(pool);
       if (list != nullptr) FreesListWithElements(list);
       if (tree != nullptr) ReleaseAvlTree(tree);
       return made;
     }},
    {"list insert", [](Stage& s) { return Done(InsertNodeTosList(&element, s.list, nullptr)); }},
    {"list append", [](Stage& s) { return Done(AppendNodeTosList(&element, s.list)); }},
    {"tree insert and delete",
     [](Stage& s) {
       static char elements[3];
       for (char& one : elements) s.tree->root = InsertAvlNode(&one, s.tree, s.tree->root);
       const bool all = FindAvlNode(&elements[2], s.tree, s.tree->root) != nullptr;
       // Refused is refused: what went in before the failure comes out again.
       for (char& one : elements) s.tree->root = DeleteAvlNode(&one, s.tree, s.tree->root);
       return all;
     }},
    {"double list insert", [](Stage& s) { return Done(DLInsert("x", 1, &s.dlist)); }},
    {"double list insert in order",
     [](Stage& s) {
       const DLOrder order = [](const void*, uint32_t, const void*, uint32_t) { return 1; };
       return Done(DLInsertSort("x", 1, order, &s.dlist));
     }},
};

TEST(Allocation, Fails) {
  for (const Row& row : kRows) {
    auto sound = std::make_unique<Stage>();
    const auto before = sound->state();
    ASSERT_TRUE(row.call(*sound)) << row.name;
    const auto after = sound->state();
    sound.reset();
    int at = 0;
    for (bool struck = true; struck && !HasFailure(); ++at) {
      SCOPED_TRACE(row.name + (", allocation " + std::to_string(at)));
      Stage s;
      seam::Arm(seam::Fault::kNoMemory, at);
      const bool done = row.call(s);
      seam::Disarm();
      struck = seam::Struck() != 0;
      if (!done) {
        EXPECT_TRUE(s.state() == before);
        EXPECT_TRUE(row.call(s));
      }
      EXPECT_TRUE(s.state() == after);
    }
    EXPECT_GT(at, 1) << row.name;
  }
}

}  // namespace
