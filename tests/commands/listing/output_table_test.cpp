// tests/commands/listing/output_table_test.cpp
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "commands/listing/listing.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// The source table s.dbf: NAME C 5, QTY N 5.1, BORN D, OK L.
TableImage source_image() {
    TableImage t;
    t.fields = {{"NAME", 'C', 5}, {"QTY", 'N', 5, 1}, {"BORN", 'D', 8}, {"OK", 'L', 1}};
    t.add({"ann", "1.5", "20010314", "T"});
    t.add({"bob", "-2.0", "19991231", "F"}, true);
    return t;
}

// Lists the given fields of every source record into `target` the way a
// /SELECT: into a table does: rendered text, by field name.
struct Listing {
    ScratchDir dir;
    std::unique_ptr<DbfTable> source;

    explicit Listing(const TableImage& image = source_image()) {
        dir.write("s.dbf", image.bytes());
        source = open_table(dir.file("s.dbf"));
    }
    // False if the target could not be had.
    bool list(const std::string& target, const std::vector<int32_t>& fields) {
        TestRun test;
        test.run.output = OutputTarget{OutputKind::Table, dir.file(target)};
        std::string names;
        for (int32_t field : fields) names += dbf_field_name(*source, field) + ";";
        Pass pass = test.pass(*source);
        cmd_select(pass, names.c_str());
        return test.out().find("Can't open") == std::string::npos;
    }
    std::vector<std::string> records(const std::string& target) const {
        std::vector<std::string> out;
        std::unique_ptr<DbfTable> table = open_table(dir.file(target));
        if (!table) return {"unopenable"};
        for (int32_t i = 0; i < dbf_record_count(*table); ++i) {
            (void)dbf_read_record(*table, i);
            out.emplace_back(table->record.begin(), table->record.begin() + table->header.record_length);
        }
        return out;
    }
};

}  // namespace

TEST(OutputTable, CreatesTheTargetWithTheSelectedFields) {
    Listing l;
    l.source->settings.date_mode = DateMode::Dmy;  // dates travel as rendered text and are parsed back
    mode_t old_mask = umask(027);
    bool opened = l.list("x.dbf", {3, 0, 2, 1});
    umask(old_mask);
    ASSERT_TRUE(opened);
    struct stat st {};
    stat(l.dir.file("x.dbf").c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    std::string bytes = l.dir.read("x.dbf");
    EXPECT_EQ(bytes.substr(32, 2), "OK");
    EXPECT_EQ(bytes.substr(64, 4), "NAME");
    EXPECT_EQ(bytes[4], 2);
    EXPECT_EQ(l.records("x.dbf"), (std::vector<std::string>{" Tann  20010314  1.5", " Fbob  19991231 -2.0"}))
        << "a deleted source record arrives undeleted";

    ASSERT_TRUE(l.list("twice.dbf", {0, 0}));
    EXPECT_EQ(l.records("twice.dbf")[0], " ann       ") << "the first of two namesakes takes the value";
}

TEST(OutputTable, ReusesAnExistingTargetByFieldName) {
    Listing l;
    TableImage existing;
    existing.fields = {{"name", 'C', 3}, {"EXTRA", 'C', 2}, {"QTY", 'C', 6}, {"OK", 'N', 2}};
    existing.add({"old", "xx", "q", "1"});
    l.dir.write("x.dbf", existing.bytes());
    ASSERT_TRUE(l.list("x.dbf", {0, 1, 3, 2}));
    EXPECT_EQ(l.records("x.dbf"), (std::vector<std::string>{existing.records[0], " ann    1.5  0", " bob   -2.0  0"}))
        << "names match in any case, a missing field is dropped, a character source gives a numeric target 0";
}

TEST(OutputTable, TargetsThatCannotBeHadAreNotTouched) {
    struct Case {
        const char* what;
        const char* target;
        std::vector<int32_t> fields;
        std::optional<std::string> before;  // the file as it was, if there was one
        std::optional<size_t> left_size;    // size of the file afterwards, if one is left
    };
    const Case cases[] = {
        {"an existing file with a bad header", "x.dbf", {0}, std::string("not a table"), 11},
        {"a directory that doesn't exist", "nodir/x.dbf", {0}, std::nullopt, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Listing l;
        if (c.before) l.dir.write(c.target, *c.before);
        EXPECT_FALSE(l.list(c.target, c.fields));
        EXPECT_EQ(l.dir.exists(c.target), c.left_size.has_value());
        if (c.left_size) {
            EXPECT_EQ(l.dir.read(c.target).size(), *c.left_size);
        }
    }
}

TEST(OutputTable, NeverEmptiesTheSourcesMemoFile) {
    TableImage image;
    image.fields = {{"NOTE", 'M', 10}};
    image.add({"1"});
    Listing l(image);
    MemoImage memo(MemoImage::Dbase3);
    memo.add("keep me");
    l.dir.write("s.dbt", memo.bytes());
    EXPECT_FALSE(l.list("s.DBF", {0})) << "the new table's memo file would be s.dbt";
    EXPECT_EQ(l.dir.read("s.dbt"), memo.bytes());
    EXPECT_FALSE(l.dir.exists("s.DBF"));
}

// A number already in printf's form goes into a field of its own shape byte for
// byte; every other one through the store. Either way the target holds what the
// store makes of the number, for awkward values and fields of every shape.
TEST(OutputTable, NumbersLandAsTheStoreMakesThem) {
    const std::vector<std::string> values = {"  -4000.00", "     -0.00", "      0.00", "      -.50", "     +1.00",
                                             "     00.50", "    1.2345", "       1.2", "        12", "          ",
                                             "1234567.89", "  1e5     ", "-999999.99", "    -0    ", "        -0",
                                             "2147483648", "   -0.0000", "    0.0001"};
    for (int source_decimals : {0, 2, 4})
    for (const FieldSpec& shape : {FieldSpec{"N", 'N', 10, 2}, FieldSpec{"N", 'F', 10, 2}, FieldSpec{"N", 'N', 10, 0},
                                   FieldSpec{"N", 'N', 10, 4}}) {
        SCOPED_TRACE("N 10." + std::to_string(source_decimals) + " into " + std::string(1, shape.type) + " 10." +
                     std::to_string(shape.decimals));
        TableImage image;
        image.fields = {{"N", 'N', 10, source_decimals}};
        for (const std::string& value : values) image.records.push_back(" " + value);
        Listing l(image);
        TableImage target;
        target.fields = {shape};
        l.dir.write("x.dbf", target.bytes());
        ASSERT_TRUE(l.list("x.dbf", {0}));
        const std::vector<std::string> landed = l.records("x.dbf");
        ASSERT_EQ(landed.size(), values.size());
        // What a store of the source's number leaves in a blank field of the shape.
        auto expected = open_table(l.dir.file("x.dbf"));
        ASSERT_NE(expected, nullptr);
        for (size_t i = 0; i < values.size(); ++i) {
            ASSERT_TRUE(dbf_read_record(*l.source, static_cast<int32_t>(i)));
            dbf_blank_record(*expected);
            (void)dbf_store_number(*expected, 0, dbf_field_number(*l.source, 0));
            EXPECT_EQ(landed[i].substr(1), std::string(reinterpret_cast<const char*>(expected->record.data()) + 1, 10))
                << values[i];
        }
    }
}
