// tests/table/open_test.cpp
#include <cstdio>
#include <cstring>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

TableImage two_fields() {
    TableImage t;
    t.fields = {{"NAME", 'C', 10}, {"AGE", 'N', 3}};
    t.add({"SMITH", "42"});
    t.add({"JONES", "7"});
    return t;
}

std::string numbered(const char* prefix, int i) {
    char name[16];
    std::snprintf(name, sizeof name, "%s%d", prefix, i);
    return name;
}

std::unique_ptr<DbfTable> open_image(const ScratchDir& dir, const std::string& bytes) {
    dir.write("t.dbf", bytes);
    return open_table(dir.file("t.dbf"));
}

}  // namespace

struct HeaderBound {
    const char* what;
    uint16_t header_length;
    uint16_t record_length;
    bool opens;
};

const HeaderBound kHeaderBounds[] = {
    {"header length 64 is refused", 64, 14, false},
    {"header length 65 is accepted", 65, 14, true},
    {"record length 1 is refused", 97, 1, false},
    {"record length 2 is accepted", 97, 2, true},
};

TEST(OpenTable, HeaderAcceptanceBounds) {
    for (const HeaderBound& b : kHeaderBounds) {
        SCOPED_TRACE(b.what);
        ScratchDir dir;
        TableImage t = two_fields();
        t.header_length = b.header_length;
        t.record_length = b.record_length;
        t.extra_header = std::string(b.header_length > 97 ? b.header_length - 97 : 0, '\0');
        EXPECT_EQ(open_image(dir, t.bytes()) != nullptr, b.opens);
    }
}

TEST(OpenTable, ShortHeaderIsRefused) {
    ScratchDir dir;
    EXPECT_EQ(open_image(dir, two_fields().bytes().substr(0, 31)), nullptr);
}

TEST(OpenTable, UnknownSignatureIsRepairedInMemoryOnly) {
    struct Case { const char* what; std::vector<FieldSpec> fields; uint8_t repaired; MemoKind kind; };
    const Case cases[] = {
        {"with a memo field", {{"A", 'C', 3}, {"M", 'M', 10}}, 0xF5, MemoKind::FoxPro},
        {"without one", {{"A", 'C', 3}, {"B", 'N', 4}}, 0x03, MemoKind::Dbase3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        TableImage t;
        t.signature = 0x99;
        t.fields = c.fields;
        std::string bytes = t.bytes();
        auto table = open_image(dir, bytes);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->status, DBF_STATUS_BAD_SIGNATURE);
        EXPECT_EQ(table->header.signature, c.repaired);
        EXPECT_EQ(dbf_bind_memo(*table), c.kind);
        EXPECT_EQ(dir.read("t.dbf"), bytes);
    }
}

TEST(OpenTable, RecordCountComesFromTheFileSize) {
    ScratchDir dir;
    TableImage t = two_fields();
    t.record_count = 1000;
    t.end_mark = false;
    std::string bytes = t.bytes() + std::string(5, 'x');  // a torn third record
    auto table = open_image(dir, bytes);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(dbf_record_count(*table), 2);
}

TEST(OpenTable, CountDividesByTheComputedRecordLength) {
    ScratchDir dir;
    TableImage t = two_fields();
    t.record_length = 7;  // the file says 7, the fields add up to 14
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(dbf_record_count(*table), 2);
    EXPECT_EQ(table->fields[1].record_offset, 11);
}

TEST(OpenTable, FileShorterThanItsHeaderHasNoRecords) {
    ScratchDir dir;
    TableImage t = two_fields();
    t.records.clear();
    t.header_length = 400;
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(dbf_record_count(*table), 0);
}

struct TypeBalance {
    const char* what;
    std::vector<FieldSpec> fields;
    bool opens;
    uint32_t status;
};

const TypeBalance kTypeBalances[] = {
    {"all known", {{"A", 'C', 3}, {"B", 'N', 4}}, true, 0},
    {"one of two unknown", {{"A", 'C', 3}, {"B", 'X', 4}}, true, DBF_STATUS_BAD_FIELD_TYPES},
    {"two of three unknown", {{"A", 'C', 3}, {"B", 'X', 4}, {"C", 'Q', 2}}, false, 0},
    {"type byte 0 is known", {{"A", 'C', 3}, {"B", '\0', 4}}, true, 0},
    {"every known letter", {{"C", 'C', 1}, {"N", 'N', 1}, {"F", 'F', 1}, {"D", 'D', 8}, {"L", 'L', 1},
                            {"M", 'M', 10}, {"T", 'T', 8}, {"G", 'G', 10}, {"Y", 'Y', 8}, {"B", 'B', 8},
                            {"I", 'I', 4}, {"Z", '0', 1}}, true, 0},
};

TEST(OpenTable, KnownAndUnknownTypesAreBalanced) {
    for (const TypeBalance& b : kTypeBalances) {
        SCOPED_TRACE(b.what);
        ScratchDir dir;
        TableImage t;
        t.fields = b.fields;
        auto table = open_image(dir, t.bytes());
        EXPECT_EQ(table != nullptr, b.opens);
        if (table) {
            EXPECT_EQ(table->status, b.status);
            EXPECT_EQ(table->field_count, b.fields.size());
        }
    }
}

TEST(OpenTable, DescriptorAreaStartingWithTheTerminatorHasNoFields) {
    ScratchDir dir;
    TableImage t;
    t.extra_header = std::string(32, '\0');  // header length 65
    t.record_length = 2;
    t.end_mark = false;
    std::string bytes = t.bytes() + "abcde";
    auto table = open_image(dir, bytes);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->field_count, 0);
    // The file holds whole records of 1 byte, not of the header's 2: read by 1.
    EXPECT_EQ(table->status, DBF_STATUS_BAD_FIELD_TYPES | DBF_STATUS_BAD_RECORD_LENGTH);
    EXPECT_EQ(table->header.record_length, 1);
    EXPECT_EQ(dbf_record_count(*table), 5);  // the divisor is 1
}

// Headers other programs write: descriptors ended by 0x0A, tables of a header and a
// terminator alone, record lengths that disagree with the fields.
TEST(OpenTable, HeadersOfOtherWriters) {
    struct Case {
        const char* what;
        std::string bytes;
        bool opens;
        int fields = 0;
        int records = 0;
        int record_length = 0;
        uint32_t status = 0;
    };
    auto header = [](uint8_t signature, uint16_t header_length, uint16_t record_length, uint32_t count) {
        std::string h(32, '\0');
        h[0] = static_cast<char>(signature);
        std::string c = le32(static_cast<int32_t>(count));
        h.replace(4, 4, c);
        h.replace(8, 2, le16(header_length));
        h.replace(10, 2, le16(record_length));
        return h;
    };
    const std::string id = descriptor("ID", 'N', 3);
    const std::string name = descriptor("NAME", 'C', 4);
    const uint32_t no_fields = DBF_STATUS_BAD_FIELD_TYPES;
    const Case kCases[] = {
        {"0x0A ends the descriptors", header(0x03, 97, 8, 2) + id + name + "\x0A" + "   1abcd   2efgh\x1A", true, 2, 2, 8},
        {"0x0A ends a single descriptor", header(0x03, 65, 4, 2) + id + "\x0A" + "   1   2", true, 1, 2, 4},
        {"header only, 33 bytes", header(0x03, 33, 1, 0) + "\x0D", true, 0, 0, 1, no_fields},
        {"header only, ended by 0x0A", header(0x03, 33, 1, 0) + "\x0A", true, 0, 0, 1, no_fields},
        {"header only with the end mark", header(0x03, 33, 1, 0) + "\x0D\x1A", true, 0, 0, 1, no_fields},
        {"header only, record length 0 read as 1", header(0x03, 33, 0, 0) + "\x0D", true, 0, 0, 1,
         no_fields | DBF_STATUS_BAD_RECORD_LENGTH},
        {"header only, header length 34", header(0x03, 34, 1, 0) + "\x0D\x00", true, 0, 0, 1, no_fields},
        {"header only with deletion marks", header(0x03, 33, 1, 3) + "\x0D  *\x1A", true, 0, 3, 1, no_fields},
        {"header only, one mark, no end mark", header(0x03, 33, 1, 1) + "\x0D ", true, 0, 1, 1, no_fields},
        {"header only needs the terminator", header(0x03, 33, 1, 0) + " ", false},
        {"header only needs a known signature", header(0x99, 33, 1, 0) + "\x0D", false},
        {"header only needs its 33rd byte", header(0x03, 33, 1, 0), false},
        {"header length 35 is still refused", header(0x03, 35, 1, 0) + "\x0D\x00\x00", false},
        {"record length of the fields where the size agrees", header(0x03, 97, 7, 2) + id + name + "\x0D" +
         "   1abcd   2efgh\x1A", true, 2, 2, 8, DBF_STATUS_BAD_RECORD_LENGTH},
        {"... without the end mark", header(0x03, 97, 7, 2) + id + name + "\x0D" + "   1abcd   2efgh", true, 2, 2,
         8, DBF_STATUS_BAD_RECORD_LENGTH},
        {"the header's where the size fits both", header(0x03, 97, 4, 2) + id + name + "\x0D" + "   1abcd   2efgh",
         true, 2, 2, 4},
        {"the header's where the size fits neither", header(0x03, 97, 9, 2) + id + name + "\x0D" +
         "   1abcd   2efghxyz", true, 2, 2, 9},
        {"the header's where only it fits", header(0x03, 97, 9, 2) + id + name + "\x0D" + "   1abcdx   2efghx",
         true, 2, 2, 9},
        {"no records: the header's", header(0x03, 97, 9, 0) + id + name + "\x0D", true, 2, 0, 9},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        auto table = open_image(dir, c.bytes);
        ASSERT_EQ(table != nullptr, c.opens);
        if (!table) continue;
        EXPECT_EQ(table->field_count, c.fields);
        EXPECT_EQ(dbf_record_count(*table), c.records);
        EXPECT_EQ(table->header.record_length, c.record_length);
        EXPECT_EQ(table->status, c.status);
        EXPECT_EQ(dir.read("t.dbf"), c.bytes);  // nothing is written at open
    }
}

TEST(OpenTable, WideCharacterFieldPushesTheNextOffset) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"WIDE", 'C', 300}, {"NEXT", 'N', 4}};
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->fields[0].length, 0x2C);
    EXPECT_EQ(table->fields[0].decimals, 0x01);
    EXPECT_EQ(dbf_field_width(*table, 0), 300);
    EXPECT_EQ(table->fields[1].record_offset, 301);
}

TEST(OpenTable, DescriptorsStopAt2048Fields) {
    ScratchDir dir;
    TableImage t;
    for (int i = 0; i < 2100; ++i) t.raw_descriptors += descriptor(numbered("F", i), 'C', 1);
    t.header_length = 65535;
    t.record_length = 2;
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->field_count, 2048);
}

TEST(OpenTable, MissingTerminatorStopsAtTheHeaderLength) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"A", 'C', 3}, {"B", 'C', 3}};
    t.terminator = false;
    // The length test measures from the first descriptor while the header length
    // counts from the start of the file, so the two zero slots behind the real
    // descriptors are taken for fields.
    t.header_length = 97;
    t.extra_header = std::string(64, '\0');
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->field_count, 4);
    EXPECT_EQ(table->status, 0u);
}

TEST(OpenTable, ElevenByteNamesAreReadBounded) {
    ScratchDir dir;
    TableImage t;
    t.raw_descriptors = descriptor("ABCDEFGHIJK", 'C', 3) + descriptor("B", 'N', 2);
    t.record_length = 6;
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(dbf_field_name(*table, 0), "ABCDEFGHIJK");
    EXPECT_EQ(dbf_find_field(*table, "abcdefghijk"), 0);
    EXPECT_EQ(dbf_find_field(*table, "ABCDEFGHIJKC"), -1);  // the type byte is not part of the name
}

TEST(OpenTable, FieldsPastTheRecordBufferHaveNoBytes) {
    ScratchDir dir;
    TableImage t;
    for (int i = 0; i < 300; ++i) t.fields.push_back({numbered("F", i), 'C', 255});
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    EXPECT_NE(dbf_field_ptr(*table, 0, 255), nullptr);
    EXPECT_EQ(dbf_field_ptr(*table, 299, 255), nullptr);
    EXPECT_EQ(table->fields[299].record_offset, 0xFFFF);  // saturated, never wrapped onto early fields
    dbf_blank_record(*table);                              // must not write past the buffer
    EXPECT_EQ(table->record[0], ' ');
}

struct FieldList {
    const char* text;
    std::vector<int32_t> fields;
};

const FieldList kFieldLists[] = {
    {"NAME", {0}},
    {"name;age", {0, 1}},
    {"AGE,NAME", {1, 0}},
    {"NAME;nosuch;AGE", {0}},
    {"nosuch;NAME", {}},
    {"", {}},
    {";;,", {}},
};

TEST(FieldListParse, StopsAtTheFirstUnknownName) {
    ScratchDir dir;
    auto table = open_image(dir, two_fields().bytes());
    ASSERT_NE(table, nullptr);
    for (const FieldList& f : kFieldLists) {
        SCOPED_TRACE(f.text);
        EXPECT_EQ(dbf_parse_field_list(*table, f.text), f.fields);
    }
}

TEST(FieldListParse, TakesAtMostTwentyNames) {
    ScratchDir dir;
    auto table = open_image(dir, two_fields().bytes());
    std::string text;
    for (int i = 0; i < 21; ++i) text += "NAME;";
    EXPECT_EQ(dbf_parse_field_list(*table, text.c_str()).size(), 20u);
}

TEST(MemoFileName, FollowsTheLastDotAndTheKind) {
    struct Case { const char* path; MemoKind kind; const char* name; };
    const Case cases[] = {
        {"table.DBF", MemoKind::Dbase3, "table.dbt"}, {"t.dbf", MemoKind::FoxPro, "t.fpt"},
        {"t.dbf", MemoKind::Dbase4, "t.dbt"},         {"t.dbf", MemoKind::VisualFoxPro, "t.fpt"},
        {"t.dbf", MemoKind::Unknown, "t.smt"},        {"noext", MemoKind::Dbase3, "noext.dbt"},
        {"a.b/c", MemoKind::Dbase3, "a.dbt"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(dbf_memo_file_name(c.path, c.kind), c.name);
    }
}

TEST(BlankRecord, UsesEachTypesBlankByte) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"C", 'C', 2}, {"N", 'N', 2}, {"I", 'I', 4}, {"Y", 'Y', 8}, {"M", 'M', 10}, {"M4", 'M', 4},
                {"T", 'T', 8}, {"T14", 'T', 14}, {"B", 'B', 8}, {"B10", 'B', 10}};
    t.add({"xx", "12", "abcd", "abcdefgh", "1", "abcd", "abcdefgh", "20010314123456", "abcdefgh", "1"}, true);
    auto table = open_image(dir, t.bytes());
    ASSERT_NE(table, nullptr);
    ASSERT_TRUE(dbf_read_record(*table, 0));
    dbf_blank_record(*table);
    std::string expected = std::string(" ") + "  " + "  " + std::string(4, '\0') + std::string(8, '\0') +
                           std::string(10, ' ') + std::string(4, '\0') + std::string(8, '\0') +
                           std::string(14, ' ') + std::string(8, '\0') + std::string(10, ' ');
    EXPECT_EQ(std::string(reinterpret_cast<char*>(table->record.data()), expected.size()), expected);
}

TEST(DateDelimiter, ReplacesTheDatePointsOnly) {
    DbfTable table;
    dbf_set_date_delimiter(table, ' ');
    EXPECT_EQ(table.date_format[1], "%02d %02d %04d");
    EXPECT_EQ(table.date_format[3], "%04d %02d %02d");
    EXPECT_EQ(table.datetime_format[2], "%02d %02d %04d %02d:%02d:%02d");
    EXPECT_EQ(table.date_format[0], "%10s");
    dbf_set_date_delimiter(table, '\0');
    EXPECT_EQ(table.date_format[1], "%02d.%02d.%04d");
}
