// Every allocation fails once under each of the exports: the call answers as documented and changes nothing,
// or goes through without; made again it goes through. Leaks are for the sanitizer to find.

#include <memory>

#include "tests/faults/session.h"

namespace {

uint32_t element = 5;

// What the calls work on: a.db, open, with items 1 and 2 and the pending ID 7; b.db, closed, with its backup.
struct Stage {
  FastFolder folder;
  DataBaseHandle* handle = nullptr;
  SList* list = CreateEmptysList(1);
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, 1, nullptr, 0);
  DList dlist{};
  Bytes bytes = Pattern(2500);

  Stage() {
    InitPmTotalDataController();
    {
      Session s(folder.path);
      for (const int v : {0, 1}) s.open(v), s.insert(v, 1, 300, 0, 3), s.insert(v, 2, 2500), s.close(v);
    }
    copy_file(folder.path / "b.db", BackupOf(folder.path / "b.db"));
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
    handle = OpenDataBaseFile(path("a.db").c_str());
    RetainID(handle, 7, 1, u"seven");
  }

  PmString path(const char* name) const { return Pm(folder.path / name); }

  static int32_t count(const AvlNode* root) {
    return root == nullptr ? 0 : 1 + count(root->left) + count(root->right);
  }

  // Everything that a call may change.
  auto state() const {
    return std::make_tuple(WorldOf(handle).items, ReadBytes(folder.path / "b.db"), CountSlist(list->header),
                           count(tree->root), dlist.count);
  }
};

bool Done(int32_t result) {
  EXPECT_TRUE(result == 0 || result == -1 || result == -2 || result == -4) << result;
  return result == 0;
}

struct Row {
  const char* name;
  bool needsMemory;
  bool (*call)(Stage& s);  // whether it was done; refused otherwise
};

const Row kRows[] = {
    {"up and down", true,
     [](Stage& s) {
       ReleasePmTotalDataController();
       const bool up = InitPmTotalDataController() == 1;
       seam::Suspend(true);
       EXPECT_TRUE(up || InitPmTotalDataController() == 1);
       s.open();
       seam::Suspend(false);
       return up;
     }},
    {"open and close", true,
     [](Stage& s) {
       DataBaseHandle* opened = OpenDataBaseFile(s.path("b.db").c_str());
       return opened != nullptr && CloseDataBaseFile(opened) == 0;
     }},
    {"restore", true, [](Stage& s) { return Done(PmRestoreBackupFile(s.path("b.db").c_str())); }},
    {"new ID", true, [](Stage& s) { return CreateNewItemID(s.handle, 1, u"new") != 0; }},
    {"retain", true, [](Stage& s) { return RetainID(s.handle, 8, 1, u"eight") == 1; }},
    {"insert, pending", true,
     [](Stage& s) { return Done(InserItemToDataBase(s.handle, 7, s.bytes.data(), 2500, 0)); }},
    {"insert, committed", true,
     [](Stage& s) { return Done(InserItemToDataBase(s.handle, 1, s.bytes.data(), 2500, 0)); }},
    {"insert, large", true,
     [](Stage& s) { return Done(InserItemToDataBase(s.handle, 1, Bytes(3 << 20).data(), 3 << 20, 0)); }},
    {"modify", true, [](Stage& s) { return Done(PmModifyItem(s.handle, 2, s.bytes.data(), 5, 900, 0)); }},
    {"get", true,
     [](Stage& s) {
       uint32_t word = 2;
       const bool done = PmGetItemPtrByID(s.handle, &word) != nullptr;
       EXPECT_EQ(word, done ? 2500u : 2u);
       return done;
     }},
    {"delete", true, [](Stage& s) { return Done(DeleteItemFromDataBase(s.handle, 2, 0)); }},
    {"delete at once", true, [](Stage& s) { return Done(DeleteItemFromDataBase(s.handle, 1, 1)); }},
    {"transaction", true,
     [](Stage& s) {
       uint32_t word = 1;
       PmGetItemPtrByID(s.handle, &word);
       EXPECT_EQ(PmStartTransaction(), 0);
       const bool changed = Done(PmModifyItem(s.handle, 1, s.bytes.data(), -1, 2200, 1));
       const int32_t stopped = PmStopTransaction();
       EXPECT_TRUE(stopped == 0 || stopped == -4) << stopped;
       EXPECT_EQ(PmSyncDirtyData(), 0) << "a pass that failed for want of memory goes on with the next sync";
       return changed;
     }},
    {"report", true,
     [](Stage& s) {
       PrintAllItemInfo(s.path("report").c_str());
       return true;
     }},
    {"look-ups", true,  // which find what there is even without
     [](Stage& s) {
       uint32_t pending = 0;
       EXPECT_TRUE(GetItemIDByUserdata(s.handle, 1, u"bbb") == 1 && GetItemCount(s.handle, 1) == 1);
       EXPECT_TRUE(FirstGetItemID(s.handle, 0) == 2 && NextGetItemID(s.handle, 0) == 0);
       return GetItemAddons(s.handle, 1, &pending) != nullptr;
     }},
    {"what is made and released", true,
     [](Stage&) {
       void* block = Malloc(100);
       CommonPool* pool = CreateCommonPool(4, 16);
       SList* list = CreateEmptysList(4);
       AvlTree* tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 8);
       DList dlist;
       const bool made = Done(DLCreate(&dlist)) && Done(DLDestroy(&dlist)) && block && pool && list && tree;
       Free(block);
       if (pool != nullptr) ReleaseCommonPool(pool);
       if (list != nullptr) FreesListWithElements(list);
       if (tree != nullptr) ReleaseAvlTree(tree);
       return made;
     }},
    {"list insert", true, [](Stage& s) { return Done(InsertNodeTosList(&element, s.list, nullptr)); }},
    {"list append", true, [](Stage& s) { return Done(AppendNodeTosList(&element, s.list)); }},
    {"list, the rest", false,
     [](Stage& s) {
       SListNode* header = s.list->header;
       SListNode* first = FirstListNode(header);
       EXPECT_EQ(ListNodeElement(first), &element);
       EXPECT_TRUE(FindInsList(&element, s.list) == first && FindMinInsList(s.list, 0) == first);
       EXPECT_TRUE(FindMaxInsList(s.list, 0) == first && PrevsListNode(first, header) == ListHeader(header));
       EXPECT_TRUE(NextsListNode(header, header) == first && ListTail(header) != header);
       EXPECT_TRUE(IsListEmpty(header) == 0 && IsLastInList(first) == 0);
       DeletesListNode(first, s.list);
       EXPECT_EQ(CountSlist(header), 2);
       ClearsList(s.list);
       return true;
     }},
    {"tree insert and delete", true,
     [](Stage& s) {
       static char elements[3];
       for (char& one : elements) s.tree->root = InsertAvlNode(&one, s.tree, s.tree->root);
       AvlNode* root = s.tree->root;
       const bool all = s.count(root) == 3;
       EXPECT_TRUE(!all || AvlTreeElement(FindAvlNode(&elements[1], s.tree, root)) == &elements[1]);
       // Refused is refused: what went in before the failure comes out again.
       for (char& one : elements) s.tree->root = DeleteAvlNode(&one, s.tree, s.tree->root);
       return all;
     }},
    {"tree, the rest", false,
     [](Stage& s) {
       const AvlVisit visit = [](AvlNode*, void*) { return 0; };
       InorderTravAvlTree(s.tree->root, visit, nullptr);
       PostorderTravAvlTree(s.tree->root, visit, nullptr);
       return GetAvlNodeSize() == sizeof(AvlNode) && FindMinAvlNode(s.tree->root) == s.tree->root &&
              FindMaxAvlNode(s.tree->root) == s.tree->root;
     }},
    {"double list insert", true, [](Stage& s) { return Done(DLInsert("x", 1, &s.dlist)); }},
    {"double list insert in order", true,
     [](Stage& s) {
       const DLOrder order = [](const void*, uint32_t, const void*, uint32_t) { return 1; };
       return Done(DLInsertSort("x", 1, order, &s.dlist));
     }},
    {"double list, the rest", false,
     [](Stage& s) {
       uint32_t length = 0;
       const DLMatch match = [](const void*, const void*, uint32_t) { return 0; };
       EXPECT_TRUE(DLGetFirstData(&length, &s.dlist) == nullptr &&
                   DLGetNextData(&length, &s.dlist) == nullptr);
       DLGetFirstDataR(&length, &s.dlist), DLGetNextDataR(&length, &s.dlist), DLDelToTail(&s.dlist);
       DLDelByData(match, "x", 1, &s.dlist);
       return DLFindData(match, "x", 1, &s.dlist) == nullptr;
     }},
    {"files", false,
     [](Stage& s) {
       const PmString path = s.path("text"), copy = s.path("copy");
       char line[10];
       PmChar folder[300];
       FILE* stream = FOpen(path.c_str(), "w+b");
       EXPECT_EQ(FWrite("a\nb", 1, 3, stream), 3);
       EXPECT_TRUE(FFlush(stream) == 0 && FSeek(stream, 0, 0) == 0 && FReadLine(line, 10, stream) >= 0);
       EXPECT_TRUE(FRead(line, 1, 1, stream) == 1 && FEof(stream) == 0 && FClose(stream) == 0);
       EXPECT_TRUE(FCopyToFile(path.c_str(), copy.c_str()) == 0 && FExists(copy.c_str()) == 0);
       EXPECT_TRUE(FTruncate(path.c_str(), 1) == 0 && FSize(path.c_str()) == 1);
       EXPECT_TRUE(GetCurDir(300, folder) >= 0 && FSetHideAttribute(path.c_str(), 1) != 0);
       return FDelete(path.c_str()) == 0;
     }},
};

class Allocation : public testing::TestWithParam<Row> {};

TEST_P(Allocation, Fails) {
  const Row& row = GetParam();
  auto sound = std::make_unique<Stage>();
  const auto before = sound->state();
  ASSERT_TRUE(row.call(*sound));
  const auto after = sound->state();
  sound.reset();
  int at = 0;
  for (;; ++at) {
    SCOPED_TRACE("allocation " + std::to_string(at));
    Stage s;
    seam::Arm(seam::Fault::kNoMemory, at);
    const bool done = row.call(s);
    seam::Disarm();
    if (!seam::Struck()) break;
    if (!done) {
      EXPECT_TRUE(s.state() == before);
      EXPECT_TRUE(row.call(s));
    }
    EXPECT_TRUE(s.state() == after);
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_EQ(at > 0, row.needsMemory);
  std::printf("%s: %d allocations\n", row.name, at);
}

INSTANTIATE_TEST_SUITE_P(Exports, Allocation, testing::ValuesIn(kRows));

TEST(AllocationTable, CallsEveryExport) {
  const Bytes text = ReadBytes(PMSTORE_SOURCE "/tests/faults/allocation_test.cpp").value_or(Bytes());
  const std::string table(text.begin(), text.end());
  std::ifstream exports(PMSTORE_SOURCE "/exports.txt");
  int called = 0;
  for (std::string name, ordinal; exports >> name >> ordinal; ++called)
    EXPECT_NE(table.find(name + "("), std::string::npos) << name;
  EXPECT_EQ(called, 80);
}

}  // namespace
