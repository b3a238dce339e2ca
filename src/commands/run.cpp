// commands/run.cpp
#include "commands/run.h"

void die(std::string_view message, std::string_view path) {
    std::string text(message);
    text += ' ';
    text += path;
    throw Fatal{std::move(text)};
}

TextCodec* table_codec(Run& run, const DbfTable& table) {
    const CodePage* page = TextCodecs::page_of(table, run.settings.code_page);
    TextCodec* codec = page != nullptr ? run.codecs.for_page(*page) : nullptr;
    if (codec == nullptr) run.out.print("Can't convert code page %d...\n", page != nullptr ? page->number : 0);
    return codec;
}
