#include "control/text_reader.h"

#include <gtest/gtest.h>

#include "common/test_run.h"

namespace dfl {
namespace {

TEST(TextReader, TakesItemsOverLinesAndDropsTheRest) {
  MessageState messages;
  TextReader in(messages, "text", "1, 2.5D+01 'a b' rest\r\n\n3*0.5\n7,,9\n0.1234-100 8", 1);
  int i = 0;
  float x = 0.0f, y = 0.0f, z = 0.0f;
  std::string name;
  in.read(i, x, name);
  EXPECT_EQ(i, 1);
  EXPECT_EQ(x, 25.0f);
  EXPECT_EQ(name, "a b");
  in.read(x, y, z);
  EXPECT_EQ(x + y + z, 1.5f);
  int a = 0, b = 5, c = 0;
  in.read(a, b, c);
  EXPECT_EQ(a, 7);
  EXPECT_EQ(b, 5);  // a null item keeps the value
  EXPECT_EQ(c, 9);
  double tiny = 1.0;
  in.read(tiny, i);
  EXPECT_EQ(tiny, 0.1234e-100);
  EXPECT_EQ(i, 8);
  EXPECT_TRUE(in.at_end());
}

TEST(TextReader, NamesPlaceExpectationAndFind) {
  MessageState messages;
  TextReader in(messages, "mesh.14", "title\n1 x1\n", 1);
  in.skip_line();
  int i = 0;
  float x = 0.0f;
  EXPECT_FALSE(in.try_read(i, x));
  EXPECT_EQ(in.fault(), "mesh.14:2: expected a real number, found \"x1\"");
}

}  // namespace
}  // namespace dfl
