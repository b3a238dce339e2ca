// tests/app/parameters_test.cpp
#include <gtest/gtest.h>

#include "app/program.h"
#include "text/codepage.h"

TEST(SetOnce, FirstValueStaysAndIsCutAt255Characters) {
    std::optional<std::string> slot;
    std::string long_value(300, 'a');
    long_value[254] = 'z';
    set_once(slot, long_value);
    ASSERT_TRUE(slot.has_value());
    EXPECT_EQ(slot->size(), 255u);
    EXPECT_EQ(slot->back(), 'z');
    set_once(slot, "other");
    EXPECT_EQ(slot->size(), 255u);
}

TEST(SetOnce, KeepsBlanksAndSemicolons) {
    std::optional<std::string> slot;
    set_once(slot, " a;b ");
    EXPECT_EQ(*slot, " a;b ");
}

TEST(Paths, Beside) {
    struct Case { const char* dir_source; const char* name_source; const char* beside; };
    const Case cases[] = {
        {"./trugtool", "trugtool.ini", "./trugtool.ini"},
        {"/usr/local/bin/trugtool", "trugtool.ini", "/usr/local/bin/trugtool.ini"},
        {"trugtool", "trugtool.ini", "trugtool.ini"},
        {"bin/trugtool", "sub/x.ini", "bin/x.ini"},
    };
    for (const Case& c : cases) EXPECT_EQ(path_beside(c.dir_source, c.name_source), c.beside) << c.dir_source;
}
