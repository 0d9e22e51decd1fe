#include "commonbase/src/assertion.h"

#include "avltree.h"
#include "model.h"
#include "slist.h"

namespace {

// What was printed since CaptureStdout, with N for the number of a line.
std::string Printed() {
  std::string text = testing::internal::GetCapturedStdout();
  const size_t end = text.find(" ]"), start = text.find_last_not_of("0123456789", end - 1) + 1;
  return start == end || text[start] == '0' ? text : text.replace(start, end - start, "N");
}

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  const std::string head = "[ Assert Failed! commonbase/src/";
  testing::internal::CaptureStdout();
  EXPECT_EQ(InsertAvlNode(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(Printed(), head + "avltree, InsertAvlNode, N ] Can't InsertAvlNode the empty tree!\n\n");
  SList* list = CreateEmptysList(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(FindInsList("x", list), nullptr);
  EXPECT_EQ(Printed(), head + "slist, FindInsList, N ] Must set the CmpsListNode function\n");
  FreesList(list);
  for (const int32_t nodeSize : {3, 0, -1, INT32_MIN}) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(CreateCommonPool(nodeSize & 1, nodeSize), nullptr);
    EXPECT_EQ(Printed(), head + "nodepool, CreateCommonPool, N ] Node Size too small!\n");
  }
}

}  // namespace
