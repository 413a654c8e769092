#include "control/text_reader.h"

#include <gtest/gtest.h>

#include <cstdint>

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

// What separates items: three integers that start at -1, -2, -3 and the line that comes next.
TEST(TextReader, SeparatorsNullItemsRepeatsAndSlashes) {
  struct Case {
    const char* text;
    int a, b, c;
    const char* next_line;
  };
  const Case cases[] = {
      {"1 2 3\nnext", 1, 2, 3, "next"},           {"1,2,3\nnext", 1, 2, 3, "next"},
      {" \t1 ,\t2\t, 3 \nnext", 1, 2, 3, "next"}, {"1\n\n2\r\n3\r\nnext", 1, 2, 3, "next"},
      {"1,\n2\n,3 4\nnext", 1, 2, 3, "next"},  // a comma at a line end parts, it adds no item
      {",2,3\nnext", -1, 2, 3, "next"},           {"1,,3\nnext", 1, -2, 3, "next"},
      {"1,,,\nnext", 1, -2, -3, "next"},          {"1,\n,3\nnext", 1, -2, 3, "next"},
      {",,3\nnext", -1, -2, 3, "next"},           {"3*7\nnext", 7, 7, 7, "next"},
      {"2*7 8\nnext", 7, 7, 8, "next"},           {"2* 8\nnext", -1, -2, 8, "next"},
      {"1,2*,9\nnext", 1, -2, -3, "next"},        {"2000000000*4\nnext", 4, 4, 4, "next"},
      {"1/ 2 3\nnext", 1, -2, -3, "next"},        {"/\nnext", -1, -2, -3, "next"},
      {"1,/\nnext", 1, -2, -3, "next"},           {"+1 -2 003\nnext", 1, -2, 3, "next"},
  };
  MessageState messages;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TextReader in(messages, "text", c.text, 1);
    int a = -1, b = -2, d = -3;
    std::string line;
    EXPECT_TRUE(in.try_read(a, b, d)) << in.fault();
    EXPECT_EQ(a, c.a);
    EXPECT_EQ(b, c.b);
    EXPECT_EQ(d, c.c);
    EXPECT_TRUE(in.read_line(line));
    EXPECT_EQ(line, c.next_line);
  }
}

TEST(TextReader, RealNumbersInAllTheirForms) {
  struct Case {
    const char* text;
    float value;
  };
  const Case cases[] = {
      {"1", 1.0f},
      {"-1.", -1.0f},
      {"+.5", 0.5f},
      {".5E1", 5.0f},
      {"1.5D+03", 1500.0f},
      {"1.5d-3", 1.5e-3f},
      {"2q2", 200.0f},
      {"1.25E+001", 12.5f},
      {"1.25-2", 0.0125f},
      {"-4+1", -40.0f},
      {"+3.0e+1", 30.0f},
      {"1e-400", 0.0f},
      {"1D-400", 0.0f},
      {"0.1-100", 0.0f},
      {"-99999", -99999.0f},
      {"0e999", 0.0f},
      {"16777217", 16777216.0f},        // rounded once, to even
      {"7.038531e-26", 7.038531e-26f},  // a known trap of rounding twice
      {"0.10000000000000000000000000000000000000000000000000000000000000000000001D0", 0.1f},
  };
  MessageState messages;
  for (const Case& c : cases) {
    TextReader in(messages, "text", c.text, 1);
    float value = -7.0f;
    EXPECT_TRUE(in.try_read(value)) << in.fault();
    EXPECT_EQ(value, c.value) << c.text;
  }
}

// A fault names the line where the item stands.
TEST(TextReader, FaultsInNumbers) {
  struct Case {
    const char* text;
    bool real;
    const char* fault;
  };
  const Case cases[] = {
      {"x1", true, "f:1: expected a real number, found \"x1\""},
      {"\n\n nan", true, "f:3: expected a real number, found \"nan\""},
      {"-inf", true, "f:1: expected a real number, found \"-inf\""},
      {"Infinity", true, "f:1: expected a real number, found \"Infinity\""},
      {"1e400", true, "f:1: expected a real number within its range, found \"1e400\""},
      {"1D+40", true, "f:1: expected a real number within its range, found \"1D+40\""},
      {"-9.9-9+9", true, "f:1: expected a real number, found \"-9.9-9+9\""},
      {"1.5E", true, "f:1: expected a real number, found \"1.5E\""},
      {"0x10", true, "f:1: expected a real number, found \"0x10\""},
      {".", true, "f:1: expected a real number, found \".\""},
      {"-", true, "f:1: expected a real number, found \"-\""},
      {"1.2.3", true, "f:1: expected a real number, found \"1.2.3\""},
      {"*", true, "f:1: expected a real number, found \"*\""},
      {"********", true, "f:1: expected a real number, found \"********\""},
      {"'1.0'", true, "f:1: expected a real number, found \"1.0\""},
      {"0*1.0", true, "f:1: expected a repeat count within its range, found \"0*1.0\""},
      {"99999999999*1", true,
       "f:1: expected a repeat count within its range, found \"99999999999*1\""},
      {"", true, "f:1: expected a real number, found the end of the file"},
      {"\n\n", true, "f:2: expected a real number, found the end of the file"},
      {"1.0", false, "f:1: expected an integer, found \"1.0\""},
      {"2147483648", false, "f:1: expected an integer within its range, found \"2147483648\""},
      {"+-5", false, "f:1: expected an integer, found \"+-5\""},
      {"5-", false, "f:1: expected an integer, found \"5-\""},
      {"\x01\xff", false, "f:1: expected an integer, found \"\\x01\\xff\""},
  };
  MessageState messages;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TextReader in(messages, "f", c.text, 1);
    float real = 0.0f;
    int integer = 0;
    EXPECT_FALSE(c.real ? in.try_read(real) : in.try_read(integer));
    EXPECT_EQ(in.fault(), c.fault);
  }
}

TEST(TextReader, WidthsOfIntegersAndBytesOfZero) {
  MessageState messages;
  TextReader in(messages, "f", std::string("-32768 32768\n9000000000\n1 2\0 3\n", 30), 1);
  std::int16_t small = 0, too_small = 0;
  EXPECT_FALSE(in.try_read(small, too_small));
  EXPECT_EQ(small, -32768);
  EXPECT_EQ(in.fault(), "f:1: expected an integer within its range, found \"32768\"");
  std::int64_t large = 0;
  in.read(large);
  EXPECT_EQ(large, 9000000000);
  int a = 0, b = 0;
  EXPECT_FALSE(in.try_read(a, b));
  EXPECT_EQ(in.fault(), "f:3: expected an integer, found \"2\\x00\"");
}

TEST(TextReader, QuotedText) {
  MessageState messages;
  TextReader in(messages, "f",
                "'it''s' \"two words\" 2*'a/b' '' plain's\n1 'open\r\n'a'b\n'good' 5*\n", 1);
  std::string a, b, c, d, e = "x", f;
  in.read(a, b, c, d, e, f);
  EXPECT_EQ(a, "it's");
  EXPECT_EQ(b, "two words");
  EXPECT_EQ(c, "a/b");
  EXPECT_EQ(d, "a/b");
  EXPECT_EQ(e, "");
  EXPECT_EQ(f, "plain's");
  int i = 0;
  EXPECT_FALSE(in.try_read(i, a));
  EXPECT_EQ(in.fault(), "f:2: expected a closing quote on the line, found \"'open\"");
  EXPECT_FALSE(in.try_read(a));
  EXPECT_EQ(in.fault(), "f:3: expected a blank or comma behind the closing quote, found \"'a'b\"");
  in.read(a, i, i);
  EXPECT_EQ(a, "good");
  EXPECT_TRUE(in.at_end());
}

// Checks made after a record has been read must name its line, not the next.
TEST(TextReader, LineIsThatOfTheLastItemOrLineRead) {
  MessageState messages;
  messages.console_out = stderr;
  messages.console_in = nullptr;
  messages.HOSTEDmode = true;
  test::TemporaryFolder folder;
  messages.output_prefix = folder.path("run");
  TextReader in(messages, "f", "title\n\n3\n4 5\n", 10);
  EXPECT_EQ(in.line(), 10);
  in.skip_line();
  EXPECT_EQ(in.line(), 10);
  int i = 0;
  in.read(i);
  EXPECT_EQ(in.line(), 12);
  EXPECT_EXIT(in.stop("too few"), testing::ExitedWithCode(0), "ERROR: f:12: too few");
  const TextReader::Place place = in.place();
  in.begin_record();
  in.read_item(i);
  EXPECT_EQ(in.rest_of_line(), " 5");
  in.end_record();
  EXPECT_EXIT(in.read(i), testing::ExitedWithCode(0),
              "ERROR: f:13: expected an integer, found the end of the file");
  EXPECT_EXIT(in.skip_line(), testing::ExitedWithCode(0),
              "ERROR: f:13: expected a line, found the end of the file");
  in.go_to(place);
  std::string line;
  EXPECT_TRUE(in.read_line(line));
  EXPECT_EQ(line, "4 5");
  EXPECT_EQ(in.line(), 13);
  EXPECT_FALSE(in.read_line(line));
  in.rewind();
  EXPECT_TRUE(in.read_line(line));
  EXPECT_EQ(line, "title");
}

TEST(TextReader, FilesThatCannotBeRead) {
  MessageState messages;
  messages.console_out = stderr;
  messages.console_in = nullptr;
  test::TemporaryFolder folder;
  messages.output_prefix = folder.path("run");
  EXPECT_EXIT(TextReader(messages, folder.path("none")), testing::ExitedWithCode(0),
              "ERROR: Cannot open file \".*none\": No such file");
  EXPECT_EXIT(TextReader(messages, folder.path("")), testing::ExitedWithCode(0),
              "ERROR: Cannot read file \".*\": not a regular file");
  TextReader in(messages, folder.write("empty", ""));
  EXPECT_TRUE(in.at_end());
  EXPECT_TRUE(in.only_blanks_left());
  EXPECT_EQ(in.bytes_left(), 0u);
  int i = 0;
  EXPECT_FALSE(in.try_read(i));
  EXPECT_EQ(in.fault(),
            folder.path("empty") + ":1: expected an integer, found the end of the file");
}

TEST(TextReader, MarksAroundATextFromAnotherSystemAreNoItems) {
  MessageState messages;
  test::TemporaryFolder folder;
  TextReader in(messages, folder.write("dos",
                                       "\xEF\xBB\xBF"
                                       "12\r\n13\r\n\x1A"));
  int i = 0;
  in.read(i);
  EXPECT_EQ(i, 12);
  in.read(i);
  EXPECT_EQ(i, 13);
  EXPECT_TRUE(in.at_end());
}

// Pages behind the place of reading are given back; what stands on them has to be there again
// after going back, and the number of the line with it.
TEST(TextReader, LongFileReadsTheSameAfterGoingBack) {
  MessageState messages;
  test::TemporaryFolder folder;
  constexpr int lines = 900000;
  std::string text;
  for (int n = 1; n <= lines; ++n) text += std::to_string(n) + " 0.250000000000000000\n";
  ASSERT_GT(text.size(), std::size_t{20} << 20);
  TextReader in(messages, folder.write("long", text));
  TextReader::Place place = in.place();
  for (int pass = 0; pass < 2; ++pass) {
    for (int n = pass == 0 ? 1 : lines / 2; n <= lines; ++n) {
      if (n == lines / 2) place = in.place();
      int i = 0;
      float x = 0.0f;
      in.read(i, x);
      ASSERT_EQ(i, n);
      ASSERT_EQ(x, 0.25f);
      ASSERT_EQ(in.line(), n);
    }
    EXPECT_TRUE(in.at_end());
    in.go_to(place);
  }
  in.rewind();
  int i = 0;
  in.read(i);
  EXPECT_EQ(i, 1);
}

}  // namespace
}  // namespace dfl
