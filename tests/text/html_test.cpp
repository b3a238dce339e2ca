// tests/text/html_test.cpp
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "commands/listing/sink.h"
#include "text/html.h"

namespace {

struct Case {
    const char* what;
    std::string text;
    std::string html;
};

const Case kCases[] = {
    {"empty text", "", ""},
    {"blanks and tabs only", " \t  \t", ""},
    {"plain word gets a trailing blank", "ab", "ab "},
    {"runs of blanks become one", "a  b", "a b "},
    {"a tab separates words", "a\tb", "a b "},
    {"leading blanks vanish", "   a", "a "},
    {"CR goes, LF becomes <br>", "a\r\nb", "a <br>\n b "},
    {"two line ends give two <br> words", "a\n\nb", "a <br>\n <br>\n b "},
    {"lone CR vanishes without splitting", "a\rb", "ab "},
    {"less-than opens a word", "1<2", "1 &lt;2 "},
    {"greater-than closes a word", "a>b", "a&gt; b "},
    {"ampersand stays inside its word", "a&b", "a&amp;b "},
    {"double quote", "say \"hi\"", "say &quot;hi&quot; "},
    {"bytes above 127 pass", "\xC0\xFF", "\xC0\xFF "},
    {"percent is no format", "100%s", "100%s "},
    {"www without a further dot is plain", "www.x", "www.x "},
    {"www with a further dot", "www.x.y", "<a href=\"http://www.x.y\">www.x.y</a> "},
    {"www. alone is plain", "www.", "www. "},
    {"ftp. alone is plain", "ftp.", "ftp. "},
    {"www.. is a link", "www..", "<a href=\"http://www..\">www..</a> "},
    {"ftp host", "ftp.a.b", "<a href=\"ftp://ftp.a.b\">ftp.a.b</a> "},
    {"http scheme alone", "http://", "<a href=\"http://\">http://</a> "},
    {"ftp scheme", "ftp://x", "<a href=\"ftp://x\">ftp://x</a> "},
    {"scheme compares case", "HTTP://a.b", "HTTP://a.b "},
    {"host prefix compares case", "WWW.a.b", "WWW.a.b "},
    {"no dot behind the at", "x@y", "x@y "},
    {"dot only before the at", "a.b@y", "a.b@y "},
    {"mail address", "x@y.z", "<a href=\"mailto:x@y.z\">x@y.z</a> "},
    {"at-dot is a mail address", "@.", "<a href=\"mailto:@.\">@.</a> "},
    {"mail beats the scheme", "http://a.b/x@y.z", "<a href=\"mailto:http://a.b/x@y.z\">http://a.b/x@y.z</a> "},
    {"address in angle brackets", "Name <a@b.c>",
     "Name <a href=\"mailto:a@b.c\">&lt;a@b.c&gt;</a> "},
    {"quotes stay in the href", "\"a@b.c\"", "<a href=\"mailto:&quot;a@b.c&quot;\">&quot;a@b.c&quot;</a> "},
    {"entity stays in the href", "a&b@c.d", "<a href=\"mailto:a&amp;b@c.d\">a&amp;b@c.d</a> "},
    {"words around a link", "see www.a.b now", "see <a href=\"http://www.a.b\">www.a.b</a> now "},
};

}  // namespace

TEST(HtmlValue, EscapesSplitsAndLinks) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(html_value(c.text.c_str()), c.html);
    }
}

TEST(HtmlValue, LongTextsOfWorstCaseBytesFit) {
    // Every byte a line end: seven bytes out of one.
    std::string breaks(100000, '\n');
    std::string expected;
    for (size_t i = 0; i < breaks.size(); ++i) expected += "<br>\n ";
    EXPECT_EQ(html_value(breaks.c_str()), expected);

    // One long address: a link twice its length plus the tags.
    std::string host = "www." + std::string(200000, 'a') + ".b";
    EXPECT_EQ(html_value(host.c_str()), "<a href=\"http://" + host + "\">" + host + "</a> ");

    // Many short mail words: the tags outweigh the text.
    std::string mails;
    std::string linked;
    for (int i = 0; i < 20000; ++i) {
        mails += "@. ";
        linked += "<a href=\"mailto:@.\">@.</a> ";
    }
    EXPECT_EQ(html_value(mails.c_str()), linked);
}

TEST(StripCr, RemovesEveryCarriageReturnInPlace) {
    const struct {
        const char* what;
        std::string text;
        std::string stripped;
    } kStrips[] = {
        {"no CR", "a\nb", "a\nb"},
        {"empty", "", ""},
        {"CR LF pairs", "a\r\nb\r\n", "a\nb\n"},
        {"only CRs", "\r\r\r", ""},
        {"CR at both ends", "\rab\r", "ab"},
    };
    for (const auto& s : kStrips) {
        SCOPED_TRACE(s.what);
        std::string buffer = s.text;
        char* result = strip_cr(buffer.data());
        EXPECT_EQ(result, buffer.data());
        EXPECT_EQ(std::string(result), s.stripped);
    }
}

// The listing takes a cell as it is, with a blank behind it, wherever html_is_plain
// says so: that must be html_value's answer, and the cells it turns down must include
// every kind html_value changes.
TEST(HtmlValue, PlainCellsAreTheirOwnHtml) {
    std::mt19937 rng(11);
    const std::string alphabet = "ab .w:@\t\r\n<>&\"ftp.www.http://x";
    int plain = 0, other = 0;
    for (int i = 0; i < 100000; ++i) {
        std::string text(1 + rng() % 14, ' ');
        for (char& c : text) c = alphabet[rng() % (i % 3 == 0 ? 4 : alphabet.size())];
        if (html_is_plain(text)) {
            ++plain;
            ASSERT_EQ(html_value(text.c_str()), text + " ") << text;
        } else {
            ++other;
        }
    }
    EXPECT_GT(plain, 1000);
    EXPECT_GT(other, 1000);
    for (const char* changed : {"", "a  b", " a", "a ", "a\tb", "www.x.y", "ftp.x.y", "a@b.c", "http://x", "a<b",
                                "a\rb", "x ftp.a.b"})
        EXPECT_FALSE(html_is_plain(changed)) << changed;
}
