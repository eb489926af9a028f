#include "command/words.h"

#include <gtest/gtest.h>

using command::Mistake;
using command::splitWords;
using command::Word;

namespace {

std::vector<std::string> textsOf(const std::string& line) {
  std::vector<Word> words;
  std::size_t end = 0;
  Mistake mistake;
  EXPECT_TRUE(splitWords(line, words, end, mistake)) << mistake.text;
  std::vector<std::string> texts;
  texts.reserve(words.size());
  for (const Word& word : words) {
    texts.push_back(word.text);
  }
  return texts;
}

Mistake mistakeIn(const std::string& line) {
  std::vector<Word> words;
  std::size_t end = 0;
  Mistake mistake;
  EXPECT_FALSE(splitWords(line, words, end, mistake));
  return mistake;
}

using Texts = std::vector<std::string>;

TEST(Words, are_separated_by_blanks) {
  EXPECT_EQ(textsOf("  plug\tusb  iap1 \r"), (Texts{"plug", "usb", "iap1"}));
  EXPECT_EQ(textsOf("   "), Texts{});
}

TEST(Words, keep_blanks_in_quotes_together_also_in_the_middle) {
  EXPECT_EQ(textsOf(R"(send "a b" text="c d"e)"), (Texts{"send", "a b", "text=c de"}));
}

TEST(Words, know_escapes_in_quotes_only) {
  EXPECT_EQ(textsOf(R"("\"\\\n\t\r\x41\xff" \n)"), (Texts{"\"\\\n\t\rA\xff", "\\n"}));
}

TEST(Words, end_at_a_comment_that_begins_a_word) {
  EXPECT_EQ(textsOf("a#b # c d"), (Texts{"a#b"}));
  EXPECT_EQ(textsOf("a \"# b\""), (Texts{"a", "# b"}));
}

TEST(Words, tell_their_column_in_characters) {
  std::vector<Word> words;
  std::size_t end = 0;
  Mistake mistake;
  ASSERT_TRUE(splitWords("\xC3\xA4\xC3\xB6 x", words, end, mistake));
  EXPECT_EQ(words[1].column, 4U);
  EXPECT_EQ(end, 5U);
}

TEST(Words, tell_their_columns_in_a_long_line_too) {
  constexpr std::size_t kWords = 20000;
  std::string line;
  for (std::size_t i = 0; i < kWords; ++i) {
    line += i % 2 == 0 ? "\xC3\xA4 " : "\"b\" ";  // two columns, and four
  }
  std::vector<Word> words;
  std::size_t end = 0;
  Mistake mistake;
  ASSERT_TRUE(splitWords(line, words, end, mistake));
  ASSERT_EQ(words.size(), kWords);
  for (std::size_t i = 0; i < kWords; ++i) {
    ASSERT_EQ(words[i].column, i / 2 * 6 + (i % 2 == 0 ? 1 : 3)) << i;
  }
  EXPECT_EQ(mistakeIn(line + "\"c").column, kWords / 2 * 6 + 1);
}

TEST(Words, complain_about_quotes_without_an_end_at_their_beginning) {
  EXPECT_EQ(mistakeIn("send \"a b").column, 6U);
  EXPECT_EQ(mistakeIn("send \"a\\").column, 8U);
}

TEST(Words, complain_about_an_unknown_escape_where_it_stands) {
  EXPECT_EQ(mistakeIn(R"(a "b\q")").column, 5U);
  EXPECT_EQ(mistakeIn(R"(a "\x4")").column, 4U);
}

TEST(Words, joined_split_into_the_same_words) {
  const std::vector<Word> words = {{"send", 1, false}, {"a b\"\n", 1, true}, {"after", 1, true}, {"", 1, true}};
  std::vector<Word> again;
  std::size_t end = 0;
  Mistake mistake;
  ASSERT_TRUE(splitWords(command::joined(words), again, end, mistake));
  ASSERT_EQ(again.size(), words.size());
  for (std::size_t i = 0; i < words.size(); ++i) {
    EXPECT_EQ(again[i].text, words[i].text);
    EXPECT_EQ(again[i].isQuoted, words[i].isQuoted);
  }
}

}  // namespace
