// text/code_page_marks.h
//
// Byte 29 of a dBase or FoxPro header names the code page of the table's text by a
// mark (a "language driver" byte): 0x01 is DOS 437, 0x26 and 0x65 are DOS 866,
// 0xC9 is Windows 1251, and so on; several marks name one page. 0 means no mark.
// Each page is known here by its number, the one `/CP:number` takes (10000 and up
// are the Macintosh pages, 65001 is UTF-8 itself), and by the name the C library's
// iconv gives it.
#pragma once

#include <cstdint>
#include <optional>

struct CodePage {
    int number;              // 437, 850, ..., 1252, 10000 for Mac Roman
    const char* iconv_name;  // name for iconv_open, or nullptr: no converter known
    bool multi_byte;         // a character may take more than one byte (932, 936, 949, 950)
};

// The page that a header's code page mark names, or nullptr for 0 and unknown marks.
[[nodiscard]] const CodePage* code_page_for_mark(uint8_t mark);
// The page of a number (as `/CP:number` gives it), or nullptr for a page no mark names.
[[nodiscard]] const CodePage* code_page_by_number(int number);
// The page of a table's text: the number given by the user if any (it overrides a
// wrong mark), else the page of the mark, else 437; nullptr if the given number is unknown.
[[nodiscard]] const CodePage* table_code_page(uint8_t mark, std::optional<int> given);
