// tools/make_examples.cpp
//
// Writes the sample tables of examples/ with the same builder the tests use, so
// anyone can rebuild them: `make examples`.
#include <cstdio>
#include <string>

#include "support/table_builder.h"

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "examples";

    // staff.dbf: dBase III with memo, five people, one of them deleted.
    MemoImage memo(MemoImage::Dbase3);
    std::string notes_smith = std::to_string(memo.add("Team lead since 2019.\r\nSpeaks at <meetups> & writes: smith@example.com"));
    std::string notes_jones = std::to_string(memo.add("Part time.\r\nSee www.example.com/jones"));
    TableImage staff;
    staff.signature = 0x83;
    staff.year = 126;
    staff.month = 11;
    staff.day = 22;
    staff.fields = {{"NAME", 'C', 20}, {"DEPT", 'C', 10}, {"SALARY", 'N', 9, 2},
                    {"BORN", 'D', 8},  {"ACTIVE", 'L', 1}, {"NOTES", 'M', 10}};
    staff.add({"Smith", "Sales", "4200.50", "19610314", "T", notes_smith});
    staff.add({"Jones", "Support", "2100.00", "19850702", "T", notes_jones});
    staff.add({"Brown", "Sales", "3900.75", "19700101", "F", ""}, true);
    staff.add({"Ivanova", "R&D", "5150.00", "19921130", "T", ""});
    staff.add({"Taylor", "Support", "-150.25", "20010914", "N", ""});
    write_file(dir + "/staff.dbf", staff.bytes());
    write_file(dir + "/staff.dbt", memo.bytes());

    // staff2.dbf: a later copy of the same table, with a changed salary, a wider
    // department and no memo, for comparisons.
    TableImage later;
    later.year = 126;
    later.month = 11;
    later.day = 23;
    later.fields = {{"NAME", 'C', 20}, {"DEPT", 'C', 12}, {"SALARY", 'N', 9, 2},
                    {"BORN", 'D', 8},  {"ACTIVE", 'L', 1}};
    later.add({"Smith", "Sales", "4400.50", "19610314", "T"});
    later.add({"Jones", "Support", "2100.00", "19850702", "T"});
    later.add({"Ivanova", "R&D", "5150.00", "19921130", "T"});
    later.add({"Taylor", "Support", "-150.25", "20010914", "N"});
    write_file(dir + "/staff2.dbf", later.bytes());

    // staff_ru.dbf: a DOS Russian table (code page 866, mark 0x65), for /UTF8.
    TableImage russian;
    russian.year = 126;
    russian.month = 11;
    russian.day = 23;
    russian.code_page_mark = 0x65;
    russian.fields = {{"NAME", 'C', 12}, {"CITY", 'C', 16}, {"SALARY", 'N', 9, 2}};
    russian.add({"\x88\xA2\xA0\xAD\xAE\xA2\xA0", "\x8C\xAE\xE1\xAA\xA2\xA0", "5150.00"});          // Иванова, Москва
    russian.add({"\x8F\xA5\xE2\xE0\xAE\xA2", "\x92\xA2\xA5\xE0\xEC", "2100.00"});                  // Петров, Тверь
    russian.add({"\xF0\xAB\xAA\xA8\xAD\xA0", "\x91\xA0\xAD\xAA\xE2-\x8F\xA5\xE2\xA5\xE0\xA1\xE3\xE0\xA3",
                 "3900.75"});                                                                         // Ёлкина, Санкт-Петербург
    write_file(dir + "/staff_ru.dbf", russian.bytes());

    std::printf("wrote %s/staff.dbf, %s/staff.dbt, %s/staff2.dbf, %s/staff_ru.dbf\n", dir.c_str(), dir.c_str(),
                dir.c_str(), dir.c_str());
    return 0;
}
