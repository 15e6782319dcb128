#include "../../src/http/HttpFields.h"

#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

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
  if (range) {
    EXPECT_EQ(std::tie(range->first, range->last, range->total),
              std::tie(expected.first, expected.last, expected.total))
        << text;
  }
}

} // namespace

TEST(HttpFields, ContentRangesAreThoseOfTheGrammar) {
  std::vector<std::string> seeds = {
      "BYTES 0-0/1",   "bytes",         "",
      "bytes=0-9/100", "bytes0-9/100",  "bytes\t0-9/100",
      "items 0-9/100", "bytes  5-6/7 ", "bytes 0-18446744073709551615/18446744073709551616"};
  seeds.emplace_back("bytes 18446744073709551614-18446744073709551614/18446744073709551615");
  for (auto const * const range :
       {"0-9/100", "0-9/*", "*/100", "*/*", "9-0/100", "0-100/100", "-9/100", "0-/100", "0-9", "0-9/", "+0-9/100",
        "0x0-9/100", "0-9/100, 1-2/3", "0 - 9/100", "0-9 /100", ""})
    seeds.push_back(std::string("bytes ") + range);
  for (auto const & seed : seeds)
    check(seed);
  std::mt19937 random(1);
  std::string const letters = "bytes 0123456789-/*,\t=x";
  for (int round = 0; round < 20000; ++round) {
    auto text = seeds[random() % seeds.size()];
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

TEST(HttpFields, TokensAreWhatMethodsAndNamesConsistOf) {
  for (auto const * const good : {"GET", "X-Y_z.1", "!#$%&'*+-.^_`|~"})
    EXPECT_TRUE(isToken(good)) << good;
  for (auto const * const bad : {"", "a b", "a:b", "a\r", "a\n", "\"", "(", "\xc3\xa9", "\x7f"})
    EXPECT_FALSE(isToken(bad)) << bad;
  EXPECT_FALSE(isToken(std::string_view("a\0b", 3)));
}

} // namespace zarnik::http
