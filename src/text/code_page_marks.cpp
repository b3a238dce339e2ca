// text/code_page_marks.cpp
//
// The marks of byte 29 as dBase IV to 7, FoxPro and Visual FoxPro write them, and
// the pages they name. The language a mark stands for matters to a collation, not
// to the text, so marks of one page in different languages are one page here.
// Kamenický (895), Mazovia (620) and Mac Greek (10006) have marks but no converter
// in the GNU C library; they are known, and a converter for them fails to open.
// Mac Cyrillic is the page as Mac OS 9 and later have it (0xA2 is Ґ, not ¢).
// UTF-8 (65001) has no mark; /CP:65001 names it for tables that hold UTF-8 text,
// as many written by GIS programs and scripts do, and it is checked on the way.
#include "text/code_page_marks.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr CodePage kPages[] = {
    {437, "CP437", false},         {620, nullptr, false},          {737, "CP737", false},
    {850, "CP850", false},         {852, "CP852", false},          {857, "CP857", false},
    {860, "CP860", false},         {861, "CP861", false},          {863, "CP863", false},
    {865, "CP865", false},         {866, "CP866", false},          {874, "WINDOWS-874", false},
    {895, nullptr, false},         {932, "CP932", true},           {936, "CP936", true},
    {949, "CP949", true},          {950, "CP950", true},           {1250, "WINDOWS-1250", false},
    {1251, "WINDOWS-1251", false}, {1252, "WINDOWS-1252", false},  {1253, "WINDOWS-1253", false},
    {1254, "WINDOWS-1254", false}, {1255, "WINDOWS-1255", false},  {1256, "WINDOWS-1256", false},
    {1257, "WINDOWS-1257", false}, {10000, "MACINTOSH", false},    {10006, nullptr, false},
    {10007, "MAC-CYRILLIC", false}, {10029, "MAC-CENTRALEUROPE", false}, {65001, "UTF-8", true},
};

struct Mark {
    uint8_t mark;
    int number;
};

// Sorted by mark.
constexpr Mark kMarks[] = {
    {0x01, 437},   // U.S. MS-DOS
    {0x02, 850},   // international MS-DOS
    {0x03, 1252},  // Windows ANSI
    {0x04, 10000}, // standard Macintosh
    {0x08, 865},   // Danish
    {0x09, 437},   // Dutch
    {0x0A, 850},   // Dutch
    {0x0B, 437},   // Finnish
    {0x0D, 437},   // French
    {0x0E, 850},   // French
    {0x0F, 437},   // German
    {0x10, 850},   // German
    {0x11, 437},   // Italian
    {0x12, 850},   // Italian
    {0x13, 932},   // Japanese Shift-JIS
    {0x14, 850},   // Spanish
    {0x15, 437},   // Swedish
    {0x16, 850},   // Swedish
    {0x17, 865},   // Norwegian
    {0x18, 437},   // Spanish
    {0x19, 437},   // English (Britain)
    {0x1A, 850},   // English (Britain)
    {0x1B, 437},   // English (U.S.)
    {0x1C, 863},   // French (Canada)
    {0x1D, 850},   // French
    {0x1F, 852},   // Czech
    {0x22, 852},   // Hungarian
    {0x23, 852},   // Polish
    {0x24, 860},   // Portuguese
    {0x25, 850},   // Portuguese
    {0x26, 866},   // Russian
    {0x37, 850},   // English (U.S.)
    {0x40, 852},   // Romanian
    {0x4D, 936},   // Chinese GBK
    {0x4E, 949},   // Korean
    {0x4F, 950},   // Chinese Big5
    {0x50, 874},   // Thai
    {0x57, 1252},  // Windows ANSI
    {0x58, 1252},  // Western European Windows
    {0x59, 1252},  // Spanish Windows
    {0x64, 852},   // Eastern European MS-DOS
    {0x65, 866},   // Russian MS-DOS
    {0x66, 865},   // Nordic MS-DOS
    {0x67, 861},   // Icelandic MS-DOS
    {0x68, 895},   // Kamenický (Czech) MS-DOS
    {0x69, 620},   // Mazovia (Polish) MS-DOS
    {0x6A, 737},   // Greek MS-DOS
    {0x6B, 857},   // Turkish MS-DOS
    {0x6C, 863},   // French-Canadian MS-DOS
    {0x78, 950},   // Taiwan Big5
    {0x79, 949},   // Hangul (Wansung)
    {0x7A, 936},   // PRC GBK
    {0x7B, 932},   // Japanese Shift-JIS
    {0x7C, 874},   // Thai Windows
    {0x7D, 1255},  // Hebrew Windows
    {0x7E, 1256},  // Arabic Windows
    {0x86, 737},   // Greek
    {0x87, 852},   // Slovenian
    {0x88, 857},   // Turkish
    {0x96, 10007}, // Russian Macintosh
    {0x97, 10029}, // Eastern European Macintosh
    {0x98, 10006}, // Greek Macintosh
    {0xC8, 1250},  // Eastern European Windows
    {0xC9, 1251},  // Russian Windows
    {0xCA, 1254},  // Turkish Windows
    {0xCB, 1253},  // Greek Windows
    {0xCC, 1257},  // Baltic Windows
};

constexpr bool marks_sorted() {
    for (size_t i = 1; i < std::size(kMarks); ++i)
        if (kMarks[i - 1].mark >= kMarks[i].mark) return false;
    return true;
}
static_assert(marks_sorted(), "marks are looked up by binary search");

}  // namespace

const CodePage* code_page_by_number(int number) {
    for (const CodePage& page : kPages)
        if (page.number == number) return &page;
    return nullptr;
}

const CodePage* code_page_for_mark(uint8_t mark) {
    const Mark* found = std::lower_bound(std::begin(kMarks), std::end(kMarks), mark,
                                         [](const Mark& entry, uint8_t key) { return entry.mark < key; });
    if (found == std::end(kMarks) || found->mark != mark) return nullptr;
    return code_page_by_number(found->number);
}

const CodePage* table_code_page(uint8_t mark, std::optional<int> given) {
    if (given) return code_page_by_number(*given);
    const CodePage* page = code_page_for_mark(mark);
    return page != nullptr ? page : code_page_by_number(437);
}
