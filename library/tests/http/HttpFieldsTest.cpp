#include "../../src/http/HttpFields.h"

#include <array>
#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>

namespace zarnik::http {

namespace {

// The same grammar, told by a regular expression.
bool expectedRange(std::string const & text, ContentRange & range) {
  static std::regex const form(
      R"([ \t\r\n]*[Bb][Yy][Tt][Ee][Ss] [ \t\r\n]*(?:(\d+)-(\d+)/(\d+|\*)|\*/(\d+))[ \t\r\n]*)");
  std::smatch match;
  if (!std::regex_match(text, match, form))
    return false;
  auto const number = [](std::string const & digits, std::optional<uint64_t> & value) {
    try {
      value = std::stoull(digits);
    } catch (std::out_of_range const &) {
      return false;
    }
    return true;
  };
  if (match[4].matched)
    return number(match[4], range.total);
  if (!number(match[1], range.first) || !number(match[2], range.last) || *range.first > *range.last)
    return false;
  return match[3] == "*" || (number(match[3], range.total) && *range.last < *range.total);
}

void check(std::string const & text) {
  ContentRange expected;
  auto const right = expectedRange(text, expected);
  auto const range = parseContentRange(text);
  ASSERT_EQ(range.has_value(), right) << text;
  if (!range)
    return;
  EXPECT_EQ(range->first, expected.first) << text;
  EXPECT_EQ(range->last, expected.last) << text;
  EXPECT_EQ(range->total, expected.total) << text;
}

} // namespace

TEST(HttpFields, ContentRangesAreThoseOfTheGrammar) {
  std::array const seeds = {"bytes 0-9/100",
                            "bytes 0-9/*",
                            "bytes */100",
                            "bytes */*",
                            "BYTES 0-0/1",
                            "bytes  5-6/7 ",
                            "bytes 18446744073709551614-18446744073709551614/18446744073709551615",
                            "bytes 0-18446744073709551615/18446744073709551616",
                            "bytes 9-0/100",
                            "bytes 0-100/100",
                            "bytes -9/100",
                            "bytes 0-/100",
                            "bytes 0-9",
                            "bytes 0-9/",
                            "bytes +0-9/100",
                            "bytes 0x0-9/100",
                            "bytes=0-9/100",
                            "bytes\t0-9/100",
                            "bytes0-9/100",
                            "items 0-9/100",
                            "bytes 0-9/100, 1-2/3",
                            "bytes 0 - 9/100",
                            "bytes 0-9 /100",
                            "bytes",
                            "bytes ",
                            ""};
  for (auto const * const seed : seeds)
    check(seed);
  std::mt19937 random(1);
  std::string const letters = "bytes 0123456789-/*,\t=x";
  for (int round = 0; round < 20000; ++round) {
    std::string text = seeds[random() % seeds.size()];
    for (auto changes = random() % 4; changes > 0; --changes) {
      auto const where = random() % (text.size() + 1);
      auto const letter = letters[random() % letters.size()];
      if (random() % 2 == 0 || where == text.size())
        text.insert(where, 1, letter);
      else if (random() % 2 == 0)
        text.erase(where, 1 + random() % 3);
      else
        text[where] = letter;
    }
    check(text);
  }
}

TEST(HttpFields, HeadsKeepWhatTheLastAnswerSays) {
  AnswerHead head;
  for (auto const * const line :
       {"HTTP/1.1 302 Found\r\n", "ETag: \"old\"\r\n", "Content-Range: bytes 0-1/2\r\n", "\r\n", "HTTP/2 206 \r\n",
        "etag:W/\"new\"  \r\n", "LAST-MODIFIED: Sun, 01 Nov 2026 10:00:00 GMT\r\n", "Content-Length: 12\r\n",
        "content-length: 12\r\n", "Content-Encoding: identity\r\n", "no header\r\n", ": empty\r\n", "\r\n"})
    head.addLine(line);
  EXPECT_EQ(head.status, 206);
  EXPECT_EQ(head.entityTag, "W/\"new\"");
  EXPECT_EQ(head.contentRange, "");
  EXPECT_EQ(head.contentEncoding, "");
  EXPECT_EQ(head.contentLength, 12u);
  EXPECT_EQ(head.validator(), "Sun, 01 Nov 2026 10:00:00 GMT"); // a weak tag must not be sent
  EXPECT_FALSE(head.contradictory);
  for (auto const * const line : {"Content-Length: 13", "Content-Length: -1", "Content-Length: 12, 12", "ETag: x",
                                  "Content-Length: 99999999999999999999"}) {
    auto other = head;
    other.addLine(line);
    EXPECT_TRUE(other.contradictory) << line;
  }
}

TEST(HttpFields, HeadsSurviveAnyBytes) {
  std::mt19937 random(2);
  std::array<std::string, 6> const beginnings = {"HTTP/",  "HTTP/1.1 ", "Content-Length:", "Content-Range: bytes",
                                                 "ETag: ", ""};
  for (int round = 0; round < 5000; ++round) {
    AnswerHead head;
    for (int lines = 0; lines < 5; ++lines) {
      auto line = beginnings[random() % beginnings.size()];
      for (auto count = random() % 20; count > 0; --count)
        line += static_cast<char>(random());
      head.addLine(line);
      EXPECT_GE(head.status, 0);
      EXPECT_LE(head.status, 999);
    }
  }
}

TEST(HttpFields, TokensAreWhatMethodsAndNamesConsistOf) {
  for (auto const * const good : {"GET", "X-Y_z.1", "!#$%&'*+-.^_`|~"})
    EXPECT_TRUE(isToken(good)) << good;
  for (auto const * const bad : {"", "a b", "a:b", "a\r", "a\n", "\"", "(", "\xc3\xa9", "\x7f"})
    EXPECT_FALSE(isToken(bad)) << bad;
  EXPECT_FALSE(isToken(std::string_view("a\0b", 3)));
}

} // namespace zarnik::http
