// What is printed of a caller's broken precondition.
#include <gtest/gtest.h>

#include <regex>

#include "avltree.h"
#include "slist.h"

namespace {

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  SList* list = CreateEmptysList(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(InsertAvlNode(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(FindInsList("x", list), nullptr);
  for (const int32_t nodeNum : {1, 0}) EXPECT_EQ(CreateCommonPool(nodeNum, 3), nullptr);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(
      std::regex_replace(printed, std::regex("[0-9]+"), "N"),
      "[ Assert Failed! commonbase/src/avltree, InsertAvlNode, N ] Can't InsertAvlNode the empty tree!\n\n"
      "[ Assert Failed! commonbase/src/slist, FindInsList, N ] Must set the CmpsListNode function\n"
      "[ Assert Failed! commonbase/src/nodepool, CreateCommonPool, N ] Node Size too small!\n"
      "[ Assert Failed! commonbase/src/nodepool, CreateCommonPool, N ] Node Size too small!\n");
  FreesList(list);
}

}  // namespace
