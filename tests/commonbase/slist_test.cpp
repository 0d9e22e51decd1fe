#include "slist.h"

#include "model.h"

namespace {

class SListTest : public testing::Test {
 protected:
  SListTest() {
    list_->CmpsListNode = [](const void* a, const void* b) -> int32_t { return Letter(a) - Letter(b); };
  }
  ~SListTest() override { FreesList(list_); }

  // The node at an index of the model; null for npos.
  SListNode* nodeAt(size_t index) const {
    SListNode* node = index == std::string::npos ? nullptr : list_->header->next;
    while (node != nullptr && index-- > 0) node = node->next;
    return node;
  }

  void checkSame(char letter) const {
    std::string letters;
    for (const SListNode* node = FirstListNode(list_->header); node != nullptr;
         node = NextsListNode(node, list_->header))
      letters += Letter(ListNodeElement(node));
    ASSERT_EQ(letters, model_);
    ASSERT_EQ(CountSlist(list_->header), static_cast<int32_t>(model_.size()));
    ASSERT_EQ(IsListEmpty(list_->header), model_.empty() ? 1 : 0);
    SListNode* last = model_.empty() ? ListHeader(list_->header) : nodeAt(model_.size() - 1);
    ASSERT_EQ(ListTail(list_->header), last);
    ASSERT_EQ(IsLastInList(last), 1);
    ASSERT_EQ(IsLastInList(list_->header), model_.empty() ? 1 : 0);
    ASSERT_EQ(FindInsList(Element(letter), list_), nodeAt(model_.find(letter)));
    for (const int32_t tie : {-1, 0, 1, 2}) {
      const auto found = [&](auto extreme) {
        if (extreme == model_.end()) return nodeAt(std::string::npos);
        return nodeAt(tie == 1 ? model_.rfind(*extreme) : model_.find(*extreme));
      };
      ASSERT_EQ(FindMinInsList(list_, tie), found(std::min_element(model_.begin(), model_.end()))) << tie;
      ASSERT_EQ(FindMaxInsList(list_, tie), found(std::max_element(model_.begin(), model_.end()))) << tie;
    }
  }

  SList* list_ = CreateEmptysList(2);
  std::string model_;
};

TEST_F(SListTest, BehavesLikeASequence) {
  Random random;
  uint32_t used = 1;
  for (int step = 0; step < 10000 && !HasFailure(); ++step) {
    const char letter = random.letter(20);
    const size_t at = random.below(model_.size() + 1);
    SListNode* previous = at == 0 ? list_->header : nodeAt(at - 1);
    SListNode stranger = {};
    SListNode* node = at == model_.size() ? &stranger : nodeAt(at);
    if (random.below(10) < (step / 50 % 2 == 0 ? 7u : 2u)) {
      SListNode* position = at == 0 && random.oneIn(2) ? nullptr : previous;
      const bool append = at == model_.size() && random.oneIn(2);
      EXPECT_EQ(append ? AppendNodeTosList(Element(letter), list_)
                       : InsertNodeTosList(Element(letter), list_, position),
                0);
      model_.insert(at, 1, letter), ++used;
    } else if (random.oneIn(200)) {
      ClearsList(list_);
      EXPECT_EQ(list_->pool->freeNum, 2);
      model_.clear();
    } else {
      EXPECT_EQ(PrevsListNode(node, list_->header), previous);
      DeletesListNode(node, list_);
      if (at < model_.size()) model_.erase(at, 1), --used;
    }
    EXPECT_EQ(list_->usedNodeNum, used);
    checkSame(letter);
  }
}

TEST_F(SListTest, RefusesWhatItCannotDo) {
  EXPECT_EQ(AppendNodeTosList(Element('a'), list_), 0);
  model_ = "a";
  list_->pool->GetCommonNode = [](CommonPool*) -> void* { return nullptr; };
  EXPECT_EQ(AppendNodeTosList(Element('b'), list_), -1);
  EXPECT_EQ(InsertNodeTosList(Element('b'), list_, list_->header), -1);
  EXPECT_EQ(list_->usedNodeNum, 2u);
  checkSame('a');
  EXPECT_EQ(NextsListNode(list_->header, nullptr), nullptr);
  list_->CmpsListNode = nullptr;
  EXPECT_TRUE(FindMinInsList(list_, 0) == nullptr && FindMaxInsList(list_, 0) == nullptr);
  for (const int32_t count : {-1, INT32_MIN, INT32_MAX}) EXPECT_EQ(CreateEmptysList(count), nullptr) << count;
  SList* owner = CreateEmptysList(1);  // elements that leak or go twice show under the sanitizers
  for (void* element : {Malloc(8), static_cast<void*>(nullptr), Malloc(8)}) AppendNodeTosList(element, owner);
  FreesListWithElements(owner);
  Free(Malloc(8));
}

}  // namespace
