// tests/commands/listing/utf8_listing_test.cpp
//
// /UTF8, /CP:, and the CSV and JSON Lines targets, run as a user runs them, on a
// DOS Russian table (cp866, with a Cyrillic field name and a memo), a table without
// a code page mark, one of a page the C library can't convert, and a Japanese one
// (Shift-JIS, whose characters take two bytes).
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// cp866 bytes of the words the table holds.
const std::string kName = "\x88\x8C\x9F";               // ИМЯ
const std::string kOlga = "\x8E\xAB\xEC\xA3\xA0";       // Ольга
const std::string kIvan = "\x88\xA2\xA0\xAD";           // Иван
const std::string kMoscow = "\x8C\xAE\xE1\xAA\xA2\xA0"; // Москва
const std::string kTver = "\x92\xA2\xA5\xE0\xEC";       // Тверь
const std::string kKazan = "\x8A\xA0\xA7\xA0\xAD\xEC";  // Казань

// ru.dbf (cp866): ИМЯ C8, CITY C8, N N6.2, D, L, NOTE memo; the third record deleted.
// plain.dbf: no mark, one field W holding 0xE1. wide.dbf: dates in fields of 10.
// cz.dbf: Kamenický (895). jp.dbf: cp932.
void write_tables(const ScratchDir& dir) {
    MemoImage memo(MemoImage::Dbase3);
    std::string note = std::to_string(memo.add("\x91\xE2\xE0\xAE\xAA\xA0, \"\xAE\xA4\xA8\xAD\"\r\n\xA4\xA2\xA0"));
    TableImage ru;
    ru.signature = 0x83;
    ru.code_page_mark = 0x65;
    ru.fields = {{kName, 'C', 8}, {"CITY", 'C', 8}, {"N", 'N', 6, 2}, {"D", 'D', 8}, {"L", 'L', 1}, {"NOTE", 'M', 10}};
    ru.add({kOlga, kMoscow, "1.5", "20010314", "T", note});
    ru.add({kIvan, kTver, "", "", "?", ""});
    ru.add({"Zed", "Tver", "-2", "19991231", "F", ""}, true);
    dir.write("ru.dbf", ru.bytes());
    dir.write("ru.dbt", memo.bytes());

    TableImage plain;
    plain.fields = {{"W", 'C', 2}};
    plain.add({"\xE1"});
    dir.write("plain.dbf", plain.bytes());

    TableImage wide;  // dates in fields of 10, padded with blanks
    wide.fields = {{"D", 'D', 10}};
    wide.add({"19600101"});
    wide.add({"1960010"});
    dir.write("wide.dbf", wide.bytes());

    TableImage cz = plain;
    cz.code_page_mark = 0x68;
    dir.write("cz.dbf", cz.bytes());

    TableImage jp;
    jp.code_page_mark = 0x13;
    jp.fields = {{"NAME", 'C', 4}};
    jp.add({"\x93\xFA\x96\x7B"});  // 日本
    jp.add({"\x83\x7C\x83\x93"});  // ポン: the second byte of ポ is '|'
    dir.write("jp.dbf", jp.bytes());
}

struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string out;
    const char* file = nullptr;           // a file the run leaves
    std::optional<std::string> contents = std::nullopt;  // its bytes; no value: it must not exist
    std::string before = "";              // what the file holds before the run
};

void check(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        write_tables(dir);
        if (!c.before.empty()) dir.write(c.file, c.before);
        RunResult r = dir.run(c.args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.out);
        if (c.file == nullptr) continue;
        if (c.contents) EXPECT_EQ(dir.read(c.file), *c.contents);
        else EXPECT_FALSE(dir.exists(c.file));
    }
}

const std::string kHtmlTable = "<table width=\"100%\" border=\"1\" cellspacing=\"1\" cellpadding=\"1\">\n";

}  // namespace

TEST(Utf8Listing, TextTargetsSpeakUtf8) {
    check({
        {"screen, names padded by characters", {"ru.dbf", "/UTF8", "/HDR", "/S:*"},
         "ИМЯ     |CITY    |N     |D       |L|NOTE      |\n"
         "Ольга   |Москва  |  1.50|20010314|T|Full memo |\n"
         "Иван    |Тверь   |  0.00|        |?|Empty memo|\n"
         "Zed     |Tver    | -2.00|19991231|F|Empty memo|\n"},
        {"without /UTF8 the bytes stay", {"ru.dbf", "/HDR", "/RANGE:1", "/S:*"},
         kName + "     |CITY    |N     |D       |L|NOTE      |\n" + kOlga + "   |" + kMoscow +
             "  |  1.50|20010314|T|Full memo |\n"},
        {"fields layout with the memo text", {"ru.dbf", "/UTF8", "/FIELDS", "/MEMO:text", "/RANGE:1", "/S:*"},
         "ИМЯ       |Ольга   \nCITY      |Москва  \nN         |  1.50\nD         |20010314\nL         |T\n"
         "NOTE      |Строка, \"один\"\nдва\n\n"},
        {"a field name typed in UTF-8", {"ru.dbf", "/UTF8", "/RANGE:2", "/S:ИМЯ;N"}, "Иван    |  0.00|\n"},
        {"a name the page lacks is no field", {"ru.dbf", "/UTF8", "/S:ΩMEGA"}, "Invalid field[s]...\n"},
        {"/UTF8- turns it off", {"ru.dbf", "/UTF8", "/UTF8-", "/RANGE:1", "/S:CITY"}, kMoscow + "  |\n"},
        {"/ANSI gives way to the mark", {"ru.dbf", "/ANSI", "/UTF8", "/RANGE:1", "/S:CITY"}, "Москва  |\n"},
        {"no mark: 437", {"plain.dbf", "/UTF8", "/S:W"}, "ß |\n"},
        {"/CP: for a table without a mark", {"plain.dbf", "/CP:1252", "/UTF8", "/S:W"}, "á |\n"},
        {"/CP: alone goes back to the mark", {"plain.dbf", "/CP:1252", "/CP:", "/UTF8", "/S:W"}, "ß |\n"},
        {"/CP: over a wrong mark", {"ru.dbf", "/CP:437", "/UTF8", "/RANGE:1", "/S:CITY"}, "î«ß¬óá  |\n"},
        {"/CP:65001 checks UTF-8 text", {"plain.dbf", "/CP:65001", "/UTF8", "/S:W"}, "\uFFFD |\n"},
        {"unknown pages", {"plain.dbf", "/CP:999", "/CP:12x", "/UTF8", "/S:W"},
         "Unknown code page: 999.\nUnknown code page: 12x.\nß |\n"},
        {"a page without a converter", {"cz.dbf", "/UTF8", "/S:W", "/UTF8-", "/S:W"},
         "Can't convert code page 895...\n\xE1 |\n"},
        {"SQL", {"ru.dbf", "/UTF8", "/MEMO:text", "/OUT:x.sql", "/RANGE:1", "/S:*"}, "", "x.sql",
         "insert into \"ru.dbf\" (ИМЯ, CITY, N, D, L, NOTE ) values "
         "(\"Ольга   \", \"Москва  \",   1.50, \"20010314\", TRUE , 'Строка, \"один\"\nдва\n');\n"},
        {"program script", {"ru.dbf", "/UTF8", "/OUT:x.prg", "/RANGE:1", "/S:ИМЯ;CITY"}, "", "x.prg",
         "use ru.dbf\nappend blank\nreplace ;\n\tИМЯ with \"Ольга   \", ;\n\tCITY with \"Москва  \"\n"
         "use\t&&\tru.dbf\n\n"},
        {"HTML declares its charset once", {"ru.dbf", "/UTF8", "/HDR", "/OUT:x.htm", "/RANGE:1", "/S:ИМЯ;N", "/S:CITY"},
         "", "x.htm",
         "<meta charset=\"utf-8\">\n" + kHtmlTable +
             "<tr><td align=center>ИМЯ</td><td align=center>N</td></tr>\n"
             "<tr valign=top><td>Ольга </td><td align=right>1.50</td></tr>\n</table>\n" +
             kHtmlTable + "<tr><td align=center>CITY</td></tr>\n<tr valign=top><td>Москва </td></tr>\n</table>\n"},
        {"HTML into a file that holds something", {"ru.dbf", "/UTF8", "/OUT:x.htm", "/RANGE:1", "/S:CITY"}, "", "x.htm",
         "<p>\n" + kHtmlTable + "<tr valign=top><td>Москва </td></tr>\n</table>\n", "<p>\n"},
        {"a table target takes the bytes (record 1, and 4 imported from it)",
         {"ru.dbf", "/UTF8", "/OUT:x.dbf", "/RANGE:1", "/S:CITY", "/OUT", "+x.dbf", "/UTF8-", "/RANGE:4", "/S:CITY"},
         kMoscow + "  |\n" + kMoscow + "  |\n"},
        {"/STRUCT as SQL", {"ru.dbf", "/UTF8", "/STRUCT:x.sql"}, "", "x.sql",
         "CREATE TABLE \"ru.dbf\" (\n\tИМЯ         Character(8),\n\tCITY        Character(8),\n"
         "\tN           Numeric(6,2),\n\tD           Date,\n\tL           Boolean,\n\tNOTE        Blob(0,1)\n\t);\n\n"},
        {"/STRUCT as a script", {"ru.dbf", "/UTF8", "/STRUCT:x.prg"}, "", "x.prg",
         "DBCREATE(\"ru.dbf\", {;\n\t{ \"ИМЯ\",         \"C\",   8,   0 },;\n\t{ \"CITY\",        \"C\",   8,   0 },;\n"
         "\t{ \"N\",           \"N\",   6,   2 },;\n\t{ \"D\",           \"D\",   8,   0 },;\n"
         "\t{ \"L\",           \"L\",   1,   0 },;\n\t{ \"NOTE\",        \"M\",  10,   0 },;\n\t})\n\n"},
    });
}

TEST(Utf8Listing, CsvAndJsonLines) {
    check({
        {"CSV: names once, memo texts in full, blanks empty",
         {"ru.dbf", "/OUT:x.csv", "/S:*", "/S:N"}, "", "x.csv",
         "ИМЯ,CITY,N,D,L,NOTE\r\n"
         "Ольга,Москва,1.5,2001-03-14,true,\"Строка, \"\"один\"\"\r\nдва\"\r\n"
         "Иван,Тверь,,,,\r\n"
         "Zed,Tver,-2,1999-12-31,false,\r\n"
         "1.5\r\n\"\"\r\n-2\r\n"},
        {"CSV appends to a file without names", {"ru.dbf", "/OUT:x.csv", "/RANGE:1", "/S:L"}, "", "x.csv",
         "X\r\ntrue\r\n", "X\r\n"},
        {"CSV honours the view", {"ru.dbf", "/DELETED-", "/DESC", "/ORDER:CITY", "/OUT:x.csv", "/S:CITY", "/RANGE:2", "/S:N"},
         "", "x.csv", "CITY\r\nТверь\r\nМосква\r\n1.5\r\n"},
        {"CSV of a filter", {"ru.dbf", "/FILTER:N>0", "/OUT:x.csv", "/S:CITY;D"}, "", "x.csv", "CITY,D\r\nМосква,2001-03-14\r\n"},
        {"dates in wider fields", {"wide.dbf", "/OUT:x.csv", "/S:D"}, "", "x.csv", "D\r\n1960-01-01\r\n\"\"\r\n"},
        {"CSV of a page without a converter", {"cz.dbf", "/OUT:x.csv", "/S:W"}, "Can't convert code page 895...\n",
         "x.csv", std::nullopt},
        {"JSON Lines", {"ru.dbf", "/OUT:x.jsonl", "/S:*", "/RANGE:1", "/S:D"}, "", "x.jsonl",
         "{\"ИМЯ\":\"Ольга\",\"CITY\":\"Москва\",\"N\":1.5,\"D\":\"2001-03-14\",\"L\":true,"
         "\"NOTE\":\"Строка, \\\"один\\\"\\r\\nдва\"}\n"
         "{\"ИМЯ\":\"Иван\",\"CITY\":\"Тверь\",\"N\":null,\"D\":null,\"L\":null,\"NOTE\":\"\"}\n"
         "{\"ИМЯ\":\"Zed\",\"CITY\":\"Tver\",\"N\":-2,\"D\":\"1999-12-31\",\"L\":false,\"NOTE\":\"\"}\n"
         "{\"D\":\"2001-03-14\"}\n"},
        {"an unknown ending is still refused", {"ru.dbf", "/OUT:x.json", "/S:N"}, "Invalid output format...\n"
         "  1.50|\n  0.00|\n -2.00|\n"},
    });
}

TEST(Utf8Listing, TypedTextGoesToTheTablesPage) {
    check({
        {"a filter constant in UTF-8", {"ru.dbf", "/UTF8", "/FILTER:CITY=\"Москва\"", "/S:N"}, "  1.50|\n"},
        {"without /UTF8 it is bytes", {"ru.dbf", "/FILTER:CITY=\"Москва\"", "/S:N"}, ""},
        {"under /ANSI both sides go to OEM", {"ru.dbf", "/UTF8", "/ANSI", "/FILTER:CITY=\"Москва\"", "/S:N"}, "  1.50|\n"},
        {"a constant the page lacks: its clause is false",
         {"ru.dbf", "/UTF8", "/FILTER:CITY=\"Ωmega\"|N<0", "/S:N"}, " -2.00|\n"},
        {"even for <>", {"ru.dbf", "/UTF8", "/FILTER:CITY<>\"Ω\"", "/S:N"}, ""},
        {"parentheses kept", {"ru.dbf", "/UTF8", "/FILTER:(CITY=\"Ω\"|CITY=\"Тверь\")&L=\"?\"", "/S:N"}, "  0.00|\n"},
        {"malformed UTF-8", {"ru.dbf", "/UTF8", "/FILTER:CITY=\"\xFF\"|N<0", "/S:N"}, " -2.00|\n"},
        {"a multi-byte page", {"jp.dbf", "/UTF8", "/FILTER:NAME=\"日本\"", "/S:NAME"}, "日本|\n"},
        {"a constant whose bytes would cut the condition", {"jp.dbf", "/UTF8", "/FILTER:NAME=\"ポ\"", "/S:NAME"}, ""},
        {"an assignment stores the page's bytes",
         {"ru.dbf", "/UTF8", "/FIELD:CITY=\"Казань\"", "/RANGE:1", "/UPDATE", "/UTF8-", "/S:CITY"}, kKazan + "  |\n"},
        {"one the page can't hold changes no record",
         {"ru.dbf", "/UTF8", "/FIELD:N=5;CITY=\"Ωmega\"", "/UPDATE", "/S:N"},
         "Not in code page 866: CITY\n  1.50|\n  0.00|\n -2.00|\n"},
        {"nor adds one", {"ru.dbf", "/UTF8", "/FIELD:CITY=\"Ω\"", "/APPEND", "/COUNT"}, "Not in code page 866: CITY\n3\n"},
        {"malformed UTF-8 neither", {"ru.dbf", "/UTF8", "/FIELD:CITY=\"\xFF\"", "/APPEND", "/COUNT"}, "Not UTF-8: CITY\n3\n"},
        {"an appended record", {"ru.dbf", "/UTF8", "/FIELD:CITY=\"Тула\"", "/APPEND", "/COUNT", "/RANGE:4", "/S:CITY"},
         "4\nТула    |\n"},
    });
}
