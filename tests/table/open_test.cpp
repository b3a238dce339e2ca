// tests/table/open_test.cpp

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
    ScratchDir dir;
    EXPECT_EQ(open_image(dir, two_fields().bytes().substr(0, 31)), nullptr) << "a header shorter than 32 bytes";
}

