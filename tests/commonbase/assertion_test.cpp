// What is printed of a caller's broken precondition.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "avltree.h"
#include "slist.h"

namespace {

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  SList* list = CreateEmptysList(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(InsertAvlNode(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(FindInsList("x", list), nullptr);
  for (const int32_t nodeNum : {1, 0}) EXPECT_EQ(CreateCommonPool(nodeNum, 3), nullptr);
  std::string printed = testing::internal::GetCapturedStdout();  // the numbers of lines change
  printed.erase(std::remove_if(printed.begin(), printed.end(), [](char c) { return std::isdigit(c) != 0; }),
                printed.end());
  EXPECT_EQ(
      printed,
      "[ Assert Failed! commonbase/src/avltree, InsertAvlNode,  ] Can't InsertAvlNode the empty tree!\n\n"
      "[ Assert Failed! commonbase/src/slist, FindInsList,  ] Must set the CmpsListNode function\n"
      "[ Assert Failed! commonbase/src/nodepool, CreateCommonPool,  ] Node Size too small!\n"
      "[ Assert Failed! commonbase/src/nodepool, CreateCommonPool,  ] Node Size too small!\n");
  FreesList(list);
}

}  // namespace
