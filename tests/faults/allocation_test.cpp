// Every allocation fails once, under each of the exports: the call answers as documented and changes nothing,
// or goes through without; made again it goes through. Leaks are for the sanitizer to find.

#include <cstdlib>

#include "tests/faults/session.h"

namespace {

enum Outcome { kDone, kRefused, kWrong };

Outcome Of(bool done, bool refused) {
  return done ? kDone : refused ? kRefused : kWrong;
}

Outcome OfCode(int32_t result) {
  return Of(result == 0, result == -1 || result == -2 || result == -4);
}

// What the calls work on: a.db, open, with items 1 and 2 and the pending ID 7; b.db, closed, with its backup.
struct Stage {
  FastFolder folder;
  DataBaseHandle* handle = nullptr;
  int32_t listSize = 0, treeSize = 0, dlistSize = 0;
  SList* list = nullptr;
  AvlTree* tree = nullptr;
  DList dlist{};
  Bytes bytes = Pattern(2500);

  PmString path(const char* name) const { return Pm(folder.path() / name); }

  Stage() {
    InitPmTotalDataController();
    {
      Session s(folder.path());
      for (const int v : {0, 1}) s.open(v), s.insert(v, 1, 300, 0, 3), s.insert(v, 2, 2500), s.close(v);
    }
    copy_file(folder.path() / "b.db", BackupOf(folder.path() / "b.db"));
    handle = OpenDataBaseFile(path("a.db").c_str());
    RetainID(handle, 7, 1, u"seven");
    list = CreateEmptysList(1);
    tree = CreateAvlTree(nullptr, nullptr, 1, nullptr, 0);
    tree->FreeAvlElement = [](void*, void*) {};  // the elements are ours
    DLCreate(&dlist);
    for (int32_t i = 0; i < 3; ++i) AppendNodeTosList(&listSize, list);
  }
  ~Stage() {
    FreesList(list);
    ReleaseAvlTree(tree);
    DLDestroy(&dlist);
    ReleasePmTotalDataController();
  }
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  int32_t count(AvlNode* root) const {
    return root == nullptr ? 0 : 1 + count(root->left) + count(root->right);
  }

  // Everything that a call may change.
  std::vector<Item> state() const {
    std::vector<Item> items = ListingOf(OpenDataBaseFile(path("a.db").c_str()));
    CloseDataBaseFile(OpenDataBaseFile(path("a.db").c_str()));
    items.push_back({0, std::nullopt, ReadBytes(folder.path() / "b.db").value_or(Bytes())});
    items.push_back({static_cast<uint32_t>(CountSlist(list->header)), std::nullopt, {}});
    items.push_back({static_cast<uint32_t>(count(tree->root)), std::nullopt, {}});
    items.push_back({dlist.count, std::nullopt, {}});
    return items;
  }
};

int32_t Before(const void*, uint32_t, const void*, uint32_t) {
  return 1;
}

uint32_t value = 5;

struct Row {
  const char* name;
  Outcome (*call)(Stage& s);
};

const Row kRows[] = {
    {"InitPmTotalDataController, ReleasePmTotalDataController",
     [](Stage& s) {
       ReleasePmTotalDataController();
       const int32_t up = InitPmTotalDataController();
       const int number = seam::AllocationNum();
       seam::FailAllocation(-1);
       if (up == 0) InitPmTotalDataController();
       s.handle = OpenDataBaseFile(s.path("a.db").c_str());
       RetainID(s.handle, 7, 1, u"seven");
       seam::FailAllocation(number);  // the count goes on from where it was
       return Of(up == 1, up == 0);
     }},
    {"OpenDataBaseFile, CloseDataBaseFile",
     [](Stage& s) {
       DataBaseHandle* opened = OpenDataBaseFile(s.path("b.db").c_str());
       if (opened != nullptr) CloseDataBaseFile(opened);
       return Of(opened != nullptr, true);
     }},
    {"PmRestoreBackupFile", [](Stage& s) { return OfCode(PmRestoreBackupFile(s.path("b.db").c_str())); }},
    {"CreateNewItemID", [](Stage& s) { return Of(CreateNewItemID(s.handle, 1, u"new") != 0, true); }},
    {"RetainID", [](Stage& s) { return Of(RetainID(s.handle, 8, 1, u"eight") == 1, true); }},
    {"GetItemIDByUserdata, GetItemAddons, FirstGetItemID, NextGetItemID, GetItemCount",
     [](Stage& s) {
       uint32_t pending = 0;
       const bool found =
           GetItemIDByUserdata(s.handle, 1, u"bbb") == 1 && GetItemAddons(s.handle, 1, &pending) != nullptr;
       const bool listed = FirstGetItemID(s.handle, 0) == 2 && NextGetItemID(s.handle, 0) == 0;
       return Of(found && listed && GetItemCount(s.handle, 1) == 1, false);
     }},
    {"InserItemToDataBase, pending",
     [](Stage& s) { return OfCode(InserItemToDataBase(s.handle, 7, s.bytes.data(), 2500, 0)); }},
    {"InserItemToDataBase, committed",
     [](Stage& s) { return OfCode(InserItemToDataBase(s.handle, 1, s.bytes.data(), 2500, 0)); }},
    {"PmModifyItem", [](Stage& s) { return OfCode(PmModifyItem(s.handle, 2, s.bytes.data(), 5, 900, 0)); }},
    {"PmGetItemPtrByID",
     [](Stage& s) {
       uint32_t word = 2;
       return Of(PmGetItemPtrByID(s.handle, &word) != nullptr && word == 2500, word == 2);
     }},
    {"DeleteItemFromDataBase", [](Stage& s) { return OfCode(DeleteItemFromDataBase(s.handle, 2, 0)); }},
    {"DeleteItemFromDataBase, at once",
     [](Stage& s) { return OfCode(DeleteItemFromDataBase(s.handle, 1, 1)); }},
    {"PmStartTransaction, PmStopTransaction, PmSyncDirtyData",
     [](Stage& s) {
       uint32_t word = 1;
       PmGetItemPtrByID(s.handle, &word);
       const int32_t started = PmStartTransaction();
       const int32_t changed = PmModifyItem(s.handle, 1, s.bytes.data(), -1, 2200, 1);
       const int32_t stopped = PmStopTransaction();
       const int32_t synced = PmSyncDirtyData();
       if (changed == -1 && synced == 0) return kRefused;
       // A write pass that failed for want of memory goes on with the next sync.
       return Of(started == 0 && changed == 0 && (stopped == 0 || stopped == -4) && synced == 0, false);
     }},
    {"PrintAllItemInfo",
     [](Stage& s) {
       PrintAllItemInfo(s.path("report").c_str());
       return Of(true, false);
     }},
    {"Malloc, Free",
     [](Stage&) {
       void* block = Malloc(100);
       Free(block);
       return Of(block != nullptr, true);
     }},
    {"CreateCommonPool, ReleaseCommonPool",
     [](Stage&) {
       CommonPool* pool = CreateCommonPool(4, 16);
       if (pool != nullptr) ReleaseCommonPool(pool);
       return Of(pool != nullptr, true);
     }},
    {"CreateEmptysList, FreesList",
     [](Stage&) {
       SList* list = CreateEmptysList(4);
       if (list != nullptr) FreesList(list);
       return Of(list != nullptr, true);
     }},
    {"InsertNodeTosList", [](Stage& s) { return Of(InsertNodeTosList(&value, s.list, nullptr) == 0, true); }},
    {"AppendNodeTosList, FreesListWithElements",
     [](Stage& s) { return Of(AppendNodeTosList(&value, s.list) == 0, true); }},
    {"CreateAvlTree, ReleaseAvlTree",
     [](Stage&) {
       AvlTree* tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 8);
       if (tree != nullptr) ReleaseAvlTree(tree);
       return Of(tree != nullptr, true);
     }},
    {"InsertAvlNode, FindAvlNode",
     [](Stage& s) {
       static char elements[3];
       for (char& element : elements) s.tree->root = InsertAvlNode(&element, s.tree, s.tree->root);
       const bool all = s.count(s.tree->root) == 3;
       // The table asks for nothing changed: what went in before the failure comes out again.
       for (char& element : elements)
         s.tree->root = all ? s.tree->root : DeleteAvlNode(&element, s.tree, s.tree->root);
       return Of(all, true);
     }},
    {"DLCreate, DLDestroy",
     [](Stage&) {
       DList list;
       const int32_t result = DLCreate(&list);
       if (result == 0) DLDestroy(&list);
       return OfCode(result);
     }},
    {"DLInsert", [](Stage& s) { return OfCode(DLInsert(&value, sizeof value, &s.dlist)); }},
    {"DLInsertSort", [](Stage& s) { return OfCode(DLInsertSort(&value, sizeof value, Before, &s.dlist)); }},
    {"FCopyToFile",
     [](Stage& s) { return OfCode(FCopyToFile(s.path("b.db").c_str(), s.path("c").c_str())); }},
};

// The exports that need no memory of ours: none is asked for.
void CallTheOthers(Stage* s) {
  SListNode* header = s->list->header;
  IsListEmpty(header), IsLastInList(header->next), FindInsList(&value, s->list), FindMinInsList(s->list, 0);
  FindMaxInsList(s->list, 0), PrevsListNode(header->next, header), NextsListNode(header, header),
      CountSlist(header);
  ListHeader(header), ListTail(header), FirstListNode(header), ListNodeElement(header->next);
  DeletesListNode(header->next, s->list), ClearsList(s->list);
  AvlNode* root = s->tree->root;
  GetAvlNodeSize(), FindAvlNode(&value, s->tree, root), FindMinAvlNode(root), FindMaxAvlNode(root);
  s->tree->root = DeleteAvlNode(&value, s->tree, root);
  const AvlVisit visit = [](AvlNode*, void*) { return 0; };
  InorderTravAvlTree(root, visit, nullptr), PostorderTravAvlTree(root, visit, nullptr);
  const DLMatch match = [](const void*, const void*, uint32_t) { return 0; };
  uint32_t length;
  DLGetFirstData(&length, &s->dlist), DLGetNextData(&length, &s->dlist), DLGetFirstDataR(&length, &s->dlist);
  DLGetNextDataR(&length, &s->dlist), DLFindData(match, &value, 4, &s->dlist);
  DLDelByData(match, &value, 4, &s->dlist), DLDelToTail(&s->dlist);
  const PmString path = s->path("text");
  char line[10];
  PmChar folder[300];
  FILE* stream = FOpen(path.c_str(), "w+b");
  FWrite("a\n", 1, 2, stream), FFlush(stream), FSeek(stream, 0, 0), FReadLine(line, 10, stream);
  FRead(line, 1, 1, stream), FEof(stream), FClose(stream);
  FExists(path.c_str()), FSize(path.c_str()), GetCurDir(300, folder), FTruncate(path.c_str(), 1);
  FSetHideAttribute(path.c_str(), 1), FDelete(path.c_str());
}

TEST(Allocation, FailsUnderEveryExport) {
  int failures = 0;
  for (const Row& row : kRows) {
    std::vector<Item> before, after;
    {
      Stage s;
      before = s.state();
      ASSERT_EQ(row.call(s), kDone) << row.name;
      after = s.state();
    }
    for (int at = 0;; ++at, ++failures) {
      SCOPED_TRACE(std::string(row.name) + ", allocation " + std::to_string(at));
      Stage s;
      seam::FailAllocation(at);
      const Outcome outcome = row.call(s);
      const bool struck = seam::AllocationNum() > at;
      seam::FailAllocation(-1);
      if (!struck) break;
      EXPECT_NE(outcome, kWrong);
      if (outcome == kRefused) {
        EXPECT_EQ(s.state(), before);
        EXPECT_EQ(row.call(s), kDone);
      }
      EXPECT_EQ(s.state(), after);
      ASSERT_FALSE(::testing::Test::HasFailure());
    }
  }
  std::printf("%d allocations failed\n", failures);
  Stage s;
  seam::FailAllocation(-1);
  CallTheOthers(&s);
  EXPECT_EQ(seam::AllocationNum(), 0);
}

}  // namespace
