// Text for pages of Markdown, by the rules of CommonMark.
#include "markdown.h"

#include <gtest/gtest.h>

namespace {

using tarn::tool::MarkdownAnchor;
using tarn::tool::MarkdownCell;
using tarn::tool::MarkdownLine;
using tarn::tool::MarkdownText;

TEST(Markdown, PlainSentencesStayAsTheyAre) {
  for (const char* text : {"", "Radios, 1 to 9; -1: none (#2 + 3 = 5). So!",
                           "Outcome price_update_ok", "50 % > 40 %"}) {
    EXPECT_EQ(MarkdownText(text), text);
  }
}

TEST(Markdown, CharactersThatMeanSomethingGetABackslash) {
  EXPECT_EQ(MarkdownText("a *b* [c](d) <e> &amp; ~~f~~ g|h $i$ \\"),
            "a \\*b\\* \\[c\\](d) \\<e> \\&amp; \\~\\~f\\~\\~ g\\|h \\$i\\$ "
            "\\\\");
}

TEST(Markdown, UnderscoresAreEscapedAtTheEdgesOfWordsAlone) {
  EXPECT_EQ(MarkdownText("_a b_c_ d_ _"), "\\_a b_c\\_ d\\_ \\_");
}

TEST(Markdown, CodeIsLeftAlone) {
  EXPECT_EQ(MarkdownText("`a*b_` and ``c`*``, *"), "`a*b_` and ``c`*``, \\*");
}

TEST(Markdown, BackticksThatEndNowhereAreEscaped) {
  EXPECT_EQ(MarkdownText("``a` *"), "\\`\\`a\\` \\*");
  EXPECT_EQ(MarkdownText("a`"), "a\\`");
}

TEST(Markdown, ACellHasOneLineAndNoBar) {
  EXPECT_EQ(MarkdownCell("a|b `c|d`\n\ne"), "a\\|b `c\\|d` e");
}

TEST(Markdown, ALineBeginsNothing) {
  EXPECT_EQ(MarkdownLine("# a"), "\\# a");
  EXPECT_EQ(MarkdownLine("- a"), "\\- a");
  EXPECT_EQ(MarkdownLine("+ a"), "\\+ a");
  EXPECT_EQ(MarkdownLine("> a"), "\\> a");
  EXPECT_EQ(MarkdownLine("==="), "\\===");
  EXPECT_EQ(MarkdownLine("12. a"), "12\\. a");
  EXPECT_EQ(MarkdownLine("3) a"), "3\\) a");
  EXPECT_EQ(MarkdownLine("12"), "12");
  EXPECT_EQ(MarkdownLine("a - b"), "a - b");
  EXPECT_EQ(MarkdownLine(""), "");
}

TEST(Markdown, AnAnchorHasNoDots) {
  EXPECT_EQ(MarkdownAnchor("Font.Style"), "fontstyle");
  EXPECT_EQ(MarkdownAnchor("KT4 price_list"), "kt4-price_list");
}

}  // namespace
