// tools/make_fuzz_corpus.cpp
//
// Writes the seed inputs of the fuzz targets into tests/fuzz/corpus/<target>/:
// small sound tables and memo files of every layout, damaged ones, and typical
// expressions, conditions, texts and command lines.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/table_builder.h"

namespace {

std::string root;

std::string numbered(const char* prefix, int i) {
    char name[16];
    std::snprintf(name, sizeof name, "%s%d", prefix, i);
    return name;
}

void seed(const char* target, const std::string& name, const std::string& bytes) {
    std::filesystem::create_directories(root + "/" + target);
    write_file(root + "/" + target + "/" + name, bytes);
}

TableImage every_type() {
    TableImage t;
    t.fields = {{"C", 'C', 5}, {"N", 'N', 8, 2}, {"F", 'F', 6, 1}, {"D", 'D', 8}, {"L", 'L', 1}, {"M", 'M', 10},
                {"T8", 'T', 8}, {"T14", 'T', 14}, {"Y", 'Y', 8}, {"B8", 'B', 8, 3}, {"B10", 'B', 10}, {"I", 'I', 4},
                {"G", 'G', 4}, {"Z", '0', 1}};
    t.add({"ab", "1.5", "-2.5", "20010314", "T", "1", le32(2451545) + le32(45296000), "20010314123456",
           le64(123456), double_bytes(2.5), "2", le32(-5), le32(3), "x"});
    t.add({"", "", "", "", "", "", "", "", "", "", "", "", "", ""}, true);
    t.add({"zz", "-10", "9e9", "18991231", "y", "0", le32(0) + le32(0), "20380119031408", le64(-15000),
           double_bytes(-1e300), "0", le32(2147483647), le32(0), ""});
    return t;
}

}  // namespace

int main(int argc, char** argv) {
    root = argc > 1 ? argv[1] : "tests/fuzz/corpus";
    TableImage types = every_type();
    std::string table = types.bytes();
    seed("table", "every_type", table);
    seed("table", "truncated", table.substr(0, table.size() / 2));
    TableImage odd = types;
    odd.signature = 0x42;
    odd.record_length = 7;
    odd.terminator = false;
    seed("table", "odd_header", odd.bytes());
    TableImage wide;
    wide.fields = {{"WIDE", 'C', 300}, {"X", 'X', 3}, {"N", 'N', 40, 30}};
    wide.add({"w", "x", "1"});
    seed("table", "wide_and_unknown", wide.bytes());

    const std::string text = "first line\r\nsecond \x1A line";
    MemoImage d3(MemoImage::Dbase3), d4(MemoImage::Dbase4, 64), fox(MemoImage::FoxPro, 64);
    int32_t b3 = d3.add(text), b4 = d4.add(text), bf = fox.add(text, 2);
    auto memo_input = [](int layout, int flags, int32_t block, const std::string& file) {
        return std::string{static_cast<char>(layout), static_cast<char>(flags)} + le32(block) + file;
    };
    seed("memo", "dbase3", memo_input(0, 0, b3, d3.bytes()));
    seed("memo", "dbase4", memo_input(1, 2, b4, d4.bytes()));
    seed("memo", "foxpro", memo_input(2, 3, bf, fox.bytes()));
    seed("memo", "dbase4_huge_length", memo_input(1, 0, 1, d4.bytes().substr(0, 64) + "\xFF\xFF\x08" + std::string(1, '\0') + "\xF0\xFF\xFF\xFF"));
    seed("memo", "foxpro_zero_block_size", memo_input(2, 2, 1, std::string(8, '\0') + std::string(600, 'x')));
    seed("memo", "short_dbase3", memo_input(0, 2, 1, "ab"));

    const char* expressions[] = {"1+2*3", "-(1+2)*3", "2^3^2", "SQRT(16)+LOG10(100)", "1E999", "((((1))))",
                                 "ABS(ABS(ABS(-1)))", "1/0", "ROUND(-2.5)", "COSX"};
    int n = 0;
    for (const char* e : expressions) seed("calc", numbered("e", n++), e);

    const char* conditions[] = {"AGE>40", "NAME=\"SMITH\"", "(AGE>40|AGE<18)&NAME=\"S\"", "PAY*2>2000",
                                "TRIM(NAME)==\"SMITH\"", "LEFT(NAME,2)=\"SM\"", "DTOS(BORN)=\"1961\"",
                                "NOTE=\"Smith\"", "RATE>2", "WHEN>0", "AGE=1;NAME=AGE+1", "NAME=\"it's\"&&",
                                "((AGE=1)|(AGE=42))&NAME=\"S\"", "NAME~<\"T\""};
    n = 0;
    for (const char* c : conditions) seed("cond", numbered("c", n++), c);

    const char* texts[] = {"Name <a@b.c> & \"q\"", "www.x.y ftp.a.b http://h x@y.z", "a\r\nb\tc  d", "1<2>3"};
    n = 0;
    for (const char* t : texts) seed("html", numbered("t", n++), t);

    TableImage small;
    small.fields = {{"NAME", 'C', 10}, {"AGE", 'N', 3}, {"BORN", 'D', 8}, {"NOTE", 'M', 10}};
    small.add({"SMITH", "42", "19610314", ""});
    small.add({"JONES", "7", "19991231", ""}, true);
    std::string image = small.bytes();
    auto program_input = [&](const std::string& parameters) {
        return std::string{static_cast<char>(image.size() & 0xFF), static_cast<char>(image.size() >> 8)} + image +
               parameters;
    };
    const char* command_lines[] = {
        "/COUNT\n/SELECT:*\n/FIELDS\n/DEL\n/S:NAME;AGE",
        "/FILTER:AGE>10\n/ORDER:NAME\n/OUT:x.sql\n/S:*\n/OUT:x.htm\n/HDR\n/S:*",
        "/FIELD:AGE=AGE*2;NAME=\"X\"\n/UPDATE\n/APPEND:2\n/DELETE:1\n/PACK\n/COUNT",
        "/STRUCT\n/STRUCT:s.dbf\n/MAKE:m.dbf\n/SORT:AGE\n/TRUNC:1\n/ZAP",
        "/CMP:t.dbf\n/CMP:isc\n/DATE:dmy\n/TRIM:all\n/MEMO:text\n/OUT:x.dbf\n/S:*\n+x.dbf\n/COUNT",
        "/RANGE:1,2-3\n/DELETED-\n/CLEAR\n/CASE\n/DESC\n/ORDER:NAME\n/CHECK\n/CDX\n/CPZERO",
    };
    n = 0;
    for (const char* c : command_lines) seed("program", numbered("p", n++), program_input(c));

    // Tables that make a careless writer grow files without end: a memo file whose
    // next free block lies far past its end, a header whose record length disagrees
    // with its fields or whose header length lies past the file, imports and listings
    // of a table into itself.
    auto with_memo = [](const std::string& table, const std::string& memo, const std::string& parameters) {
        size_t length = table.size() | 0x8000;
        return std::string{static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)} + table +
               std::string{static_cast<char>(memo.size() & 0xFF), static_cast<char>(memo.size() >> 8)} + memo +
               parameters;
    };
    TableImage fox_table;
    fox_table.signature = 0xF5;
    fox_table.fields = {{"NAME", 'C', 10}, {"NOTE", 'M', 10}};
    MemoImage fox_memo(MemoImage::FoxPro, 64);
    fox_table.add({"SMITH", std::to_string(fox_memo.add("a text"))});
    fox_table.add({"JONES", std::to_string(fox_memo.add("another text"))});
    std::string far_memo = fox_memo.bytes();
    far_memo.replace(0, 4, be32(0x7A600019));
    seed("program", "memo_next_far", with_memo(fox_table.bytes(), far_memo,
                                               "+t.dbf\n/FIELD:NOTE=\"x\"\n/UPDATE\n/APPEND:3\n/OUT:t.dbf\n/S:*"));
    MemoImage d4_memo(MemoImage::Dbase4, 1);
    TableImage d4_table;
    d4_table.signature = 0x8B;
    d4_table.fields = fox_table.fields;
    d4_table.add({"SMITH", std::to_string(d4_memo.add("a text"))});
    std::string tiny_blocks = d4_memo.bytes();
    tiny_blocks.replace(0, 4, le32(-1));
    seed("program", "memo_tiny_blocks", with_memo(d4_table.bytes(), tiny_blocks,
                                                  "/FIELD:NOTE=\"x\"\n/APPEND:2\n/PACK\n/MEMO:text\n/S:*"));
    TableImage long_records = small;
    long_records.record_length = 0xFFFF;
    seed("program", "record_length_far",
         std::string{static_cast<char>(long_records.bytes().size() & 0xFF),
                     static_cast<char>(long_records.bytes().size() >> 8)} +
             long_records.bytes() + "/APPEND:blank\n/APPEND:2\n+t.dbf\n/CMP:t.dbf\n/ORDER:NAME\n/CMP:c\n/TRUNC:5\n/ZAP");
    TableImage short_file = small;
    short_file.header_length = 4000;
    seed("program", "header_past_end",
         std::string{static_cast<char>(short_file.bytes().size() & 0xFF),
                     static_cast<char>(short_file.bytes().size() >> 8)} +
             short_file.bytes() + "/APPEND:1\n/CHECK\n/TRUNC:3\n/COUNT");
    seed("program", "into_itself", program_input("+t.dbf\n+t.dbf\n/OUT:t.dbf\n/S:*\n/CMP:t.dbf\n/CMP:c\n/COUNT"));
    seed("program", "growing", program_input("/APPEND:9\n/TRUNC:9\n/OUT:x.htm\n/S:*\n/SORT:NAME\n/PACK\n/COUNT"));
    std::printf("wrote the fuzz corpus under %s\n", root.c_str());
    return 0;
}
