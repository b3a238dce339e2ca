// text/codecs.h
//
// The converters between tables' code pages and UTF-8 that one run uses, each
// opened on first use and kept: a single-byte page costs 256 questions to iconv
// when it opens, and a run of many tables of one page asks them once. The page of
// a table is the one its header's code page mark names, or the number the user
// gave over it, or 437 for a table without a mark.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string_view>

#include "table/dbf.h"
#include "text/code_page_marks.h"
#include "text/utf8.h"

class TextCodecs {
  public:
    // The page of the table: `given` if set, else its mark's, else 437; null only for an unknown `given`.
    [[nodiscard]] static const CodePage* page_of(const DbfTable& table, std::optional<int> given);
    // The converter of `page`; null if the C library has none for it. Stays valid as long as this object.
    [[nodiscard]] TextCodec* for_page(const CodePage& page);

  private:
    std::map<int, std::optional<TextCodec>> opened_;  // by page number; no value: no converter
};

// Characters of well-formed UTF-8 text: its bytes less its continuation bytes.
[[nodiscard]] size_t utf8_length(std::string_view text);
// True if every byte is below 0x80.
[[nodiscard]] bool is_ascii(std::string_view text);
