// text/codecs.cpp
#include "text/codecs.h"

#include <cstdint>

const CodePage* TextCodecs::page_of(const DbfTable& table, std::optional<int> given) {
    return table_code_page(table.header.code_page_mark, given);
}

TextCodec* TextCodecs::for_page(const CodePage& page) {
    auto found = opened_.find(page.number);
    if (found == opened_.end()) found = opened_.emplace(page.number, TextCodec::open(page)).first;
    return found->second ? &*found->second : nullptr;
}

size_t utf8_length(std::string_view text) {
    size_t length = 0;
    for (char c : text) length += (static_cast<uint8_t>(c) & 0xC0) != 0x80;
    return length;
}

bool is_ascii(std::string_view text) {
    for (char c : text)
        if (static_cast<uint8_t>(c) >= 0x80) return false;
    return true;
}
