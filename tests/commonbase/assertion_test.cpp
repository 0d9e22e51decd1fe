#include "commonbase/src/assertion.h"

#include <functional>
#include <string>

#include "avltree.h"
#include "model.h"
#include "slist.h"

namespace {

// What a call that has to give null prints, with N for the number of a line.
std::string Printed(const std::function<const void*()>& refused) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(refused(), nullptr);
  std::string text = testing::internal::GetCapturedStdout();
  const size_t end = text.find(" ]");
  const size_t start = text.find_last_not_of("0123456789", end - 1) + 1;
  return start == end || text[start] == '0' ? text : text.replace(start, end - start, "N");
}

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  const std::string head = "[ Assert Failed! commonbase/src/";
  EXPECT_EQ(Printed([] { return InsertAvlNode(nullptr, nullptr, nullptr); }),
            head + "avltree, InsertAvlNode, N ] Can't InsertAvlNode the empty tree!\n\n");
  SList* list = CreateEmptysList(1);
  for (int elements = 0; elements < 2; ++elements) {
    EXPECT_EQ(Printed([&] { return FindInsList("x", list); }),
              head + "slist, FindInsList, N ] Must set the CmpsListNode function\n");
    AppendNodeTosList(nullptr, list);
  }
  FreesList(list);
  for (const int32_t nodeNum : {1, 0, INT32_MIN}) {
    for (const int32_t nodeSize : {3, 0, -1, INT32_MIN})
      EXPECT_EQ(Printed([=] { return CreateCommonPool(nodeNum, nodeSize); }),
                head + "nodepool, CreateCommonPool, N ] Node Size too small!\n");
  }
}

}  // namespace
