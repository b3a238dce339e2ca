// tests/text/html_test.cpp
//
// A field value as an HTML cell: escapes, words, line ends and links; and the quick
// test for cells that are their own HTML.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "text/html.h"

TEST(HtmlValue, EscapesSplitsAndLinks) {
    const struct { std::string text, html; } cases[] = {
        {"", ""}, {" \t  \t", ""}, {"a  b", "a b "}, {"a\tb", "a b "}, {"   a", "a "},
        {"a\r\nb", "a <br>\n b "}, {"a\n\nb", "a <br>\n <br>\n b "}, {"a\rb", "ab "},
        {"1<2", "1 &lt;2 "}, {"a>b", "a&gt; b "}, {"a&b", "a&amp;b "}, {"say \"hi\"", "say &quot;hi&quot; "},
        {"\xC0\xFF", "\xC0\xFF "}, {"100%s", "100%s "}, {"www.x", "www.x "}, {"www.", "www. "}, {"ftp.", "ftp. "},
        {"www.x.y", "<a href=\"http://www.x.y\">www.x.y</a> "}, {"www..", "<a href=\"http://www..\">www..</a> "},
        {"ftp.a.b", "<a href=\"ftp://ftp.a.b\">ftp.a.b</a> "}, {"http://", "<a href=\"http://\">http://</a> "},
        {"ftp://x", "<a href=\"ftp://x\">ftp://x</a> "}, {"HTTP://a.b", "HTTP://a.b "}, {"WWW.a.b", "WWW.a.b "},
        {"x@y", "x@y "}, {"a.b@y", "a.b@y "}, {"x@y.z", "<a href=\"mailto:x@y.z\">x@y.z</a> "},
        {"@.", "<a href=\"mailto:@.\">@.</a> "},
        {"http://a.b/x@y.z", "<a href=\"mailto:http://a.b/x@y.z\">http://a.b/x@y.z</a> "},
        {"Name <a@b.c>", "Name <a href=\"mailto:a@b.c\">&lt;a@b.c&gt;</a> "},
        {"\"a@b.c\"", "<a href=\"mailto:&quot;a@b.c&quot;\">&quot;a@b.c&quot;</a> "},
        {"see www.a.b now", "see <a href=\"http://www.a.b\">www.a.b</a> now "},
    };
    for (const auto& c : cases) EXPECT_EQ(html_value(c.text.c_str()), c.html) << c.text;
    // The worst cases for the room a cell needs: every byte a line end, one long link.
    const std::string host = "www." + std::string(200000, 'a') + ".b";
    EXPECT_EQ(html_value(host.c_str()), "<a href=\"http://" + host + "\">" + host + "</a> ");
    std::string breaks(100000, '\n'), expected;
    for (size_t i = 0; i < breaks.size(); ++i) expected += "<br>\n ";
    EXPECT_EQ(html_value(breaks.c_str()), expected);
}

// A cell html_is_plain passes is written as it stands, with a blank behind it.
TEST(HtmlValue, PlainCellsAreTheirOwnHtml) {
    std::mt19937 rng(11);
    const std::string alphabet = "ab .w:@\t\r\n<>&\"ftp.www.http://x";
    for (int i = 0; i < 20000; ++i) {
        std::string text(1 + rng() % 14, ' ');
        for (char& c : text) c = alphabet[rng() % (i % 3 == 0 ? 4 : alphabet.size())];
        if (html_is_plain(text)) ASSERT_EQ(html_value(text.c_str()), text + " ") << text;
    }
    for (const char* changed : {"", "a  b", " a", "a ", "a\tb", "www.x.y", "a@b.c", "http://x", "a<b", "a\rb"})
        EXPECT_FALSE(html_is_plain(changed)) << changed;
}
