// text/utf8.cpp
//
// Building the per-byte table asks iconv about each byte on its own, with the
// descriptor reset before and flushed after, so that a page whose converter holds
// a character back (to combine it with the next, as glibc does for 1255) still
// gives it. The reverse table is the same answers sorted by code point; where two
// bytes give one code point the lower byte is the one written back.
#include "text/utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kIconvFailed = static_cast<size_t>(-1);

bool continuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// The length of the run of bytes below 0x80 at the front of `text`, read 8 at a time.
size_t ascii_prefix(const char* text, size_t size) {
    size_t i = 0;
    for (uint64_t word; i + 8 <= size; i += 8) {
        std::memcpy(&word, text + i, 8);
        if ((word & 0x8080808080808080ULL) != 0) break;
    }
    while (i < size && static_cast<uint8_t>(text[i]) < 0x80) ++i;
    return i;
}

void reset(iconv_t descriptor) { iconv(descriptor, nullptr, nullptr, nullptr, nullptr); }

// Runs `descriptor` over all of `text`, appending to `out` and growing it as needed.
// Returns 0 when all converted, else the errno of the first stop (EILSEQ, EINVAL),
// with `consumed` telling how far the input got.
int convert_run(iconv_t descriptor, std::string_view text, std::string& out, size_t& consumed) {
    char* in = const_cast<char*>(text.data());  // iconv's prototype; the input is not written
    size_t in_left = text.size();
    int stop = 0;
    for (;;) {
        size_t start = out.size();
        size_t room = in_left * 3 + 16;
        out.resize(start + room);
        char* to = out.data() + start;
        size_t to_left = room;
        size_t result = in_left > 0 ? iconv(descriptor, &in, &in_left, &to, &to_left) : 0;
        int error = result == kIconvFailed ? errno : 0;
        if (error == 0 && iconv(descriptor, nullptr, nullptr, &to, &to_left) == kIconvFailed) error = errno;
        out.resize(out.size() - to_left);
        if (error == E2BIG) continue;
        stop = error;
        break;
    }
    consumed = text.size() - in_left;
    return stop;
}

}  // namespace

Utf8Char utf8_next(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    uint8_t first = byte(0);
    if (first < 0x80) return {first, 1};
    size_t length = 0;
    char32_t code = 0;
    uint8_t low = 0x80, high = 0xBF;  // bounds of the second byte
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
        code = first & 0x1F;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        code = first & 0x0F;
        if (first == 0xE0) low = 0xA0;   // overlong below U+0800
        if (first == 0xED) high = 0x9F;  // surrogates
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        code = first & 0x07;
        if (first == 0xF0) low = 0x90;   // overlong below U+10000
        if (first == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
        return {0, 0};
    }
    if (text.size() < length || byte(1) < low || byte(1) > high) return {0, 0};
    for (size_t i = 1; i < length; ++i) {
        if (!continuation(byte(i))) return {0, 0};
        code = (code << 6) | (byte(i) & 0x3F);
    }
    return {code, length};
}

TextCodec::Iconv& TextCodec::Iconv::operator=(Iconv&& other) noexcept {
    if (this != &other) {
        if (is_open()) iconv_close(descriptor_);
        descriptor_ = std::exchange(other.descriptor_, kNone);
    }
    return *this;
}

TextCodec::Iconv::~Iconv() {
    if (is_open()) iconv_close(descriptor_);
}

std::optional<TextCodec> TextCodec::open(const CodePage& page) {
    if (page.iconv_name == nullptr) return std::nullopt;
    TextCodec codec(page);
    Iconv decoder(iconv_open("UTF-8", page.iconv_name));
    if (!decoder.is_open()) return std::nullopt;
    if (page.multi_byte) {
        codec.encoder_ = Iconv(iconv_open(page.iconv_name, "UTF-8"));
        if (!codec.encoder_.is_open()) return std::nullopt;
    }
    // Of a multi-byte page only ASCII is asked about, to be copied as it stands
    // where the page agrees: none of these pages starts a longer character below 0x80.
    const int asked = page.multi_byte ? 0x80 : 0x100;
    for (int byte = 0; byte < asked; ++byte) {
        const char in = static_cast<char>(byte);
        std::string utf8;
        size_t consumed = 0;
        reset(decoder.get());
        bool defined = convert_run(decoder.get(), {&in, 1}, utf8, consumed) == 0 && !utf8.empty() && utf8.size() <= 4;
        codec.passes_[byte] = defined && utf8.size() == 1 && utf8[0] == in;
        if (!page.multi_byte) codec.add_glyph(in, defined ? utf8 : kReplacementUtf8, defined);
    }
    codec.ascii_passes_ = std::all_of(codec.passes_.begin(), codec.passes_.begin() + 0x80, [](bool b) { return b; });
    if (page.multi_byte) {
        codec.decoder_ = std::move(decoder);
        return codec;
    }
    std::stable_sort(codec.bytes_of_.begin(), codec.bytes_of_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    auto same_code = [](const auto& a, const auto& b) { return a.first == b.first; };
    codec.bytes_of_.erase(std::unique(codec.bytes_of_.begin(), codec.bytes_of_.end(), same_code), codec.bytes_of_.end());
    return codec;
}

void TextCodec::add_glyph(char byte, std::string_view utf8, bool defined) {
    Glyph& glyph = glyphs_[static_cast<uint8_t>(byte)];
    glyph.length = static_cast<uint8_t>(utf8.size());
    std::copy(utf8.begin(), utf8.end(), glyph.bytes);
    Utf8Char read = utf8_next(utf8);
    if (defined && read.length == utf8.size()) bytes_of_.emplace_back(read.code, byte);
}

void TextCodec::to_utf8(std::string_view text, std::string& out) {
    const char* run = text.data();
    const char* end = run + text.size();
    if (page_->multi_byte) {
        if (ascii_passes_ && ascii_prefix(run, text.size()) == text.size()) out.append(text);
        else multi_byte_to_utf8(text, out);
        return;
    }
    for (const char* p = run; p != end;) {
        if (ascii_passes_) {
            p += ascii_prefix(p, static_cast<size_t>(end - p));
            if (p == end) break;
        }
        uint8_t byte = static_cast<uint8_t>(*p);
        if (passes_[byte]) {
            ++p;
            continue;
        }
        out.append(run, p);
        out.append(glyphs_[byte].bytes, glyphs_[byte].length);
        run = ++p;
    }
    out.append(run, end);
}

void TextCodec::multi_byte_to_utf8(std::string_view text, std::string& out) {
    iconv_t descriptor = decoder_.get();
    while (!text.empty()) {
        reset(descriptor);
        size_t consumed = 0;
        int stop = convert_run(descriptor, text, out, consumed);
        if (stop == 0) return;
        out.append(kReplacementUtf8);
        if (stop != EILSEQ) return;  // EINVAL: the text ends inside a character
        text.remove_prefix(consumed + 1);
    }
}

EncodeResult TextCodec::from_utf8(std::string_view text, std::string& out) {
    const size_t start = out.size();
    bool all_pass = true;
    for (size_t i = 0; i < text.size();) {
        uint8_t byte = static_cast<uint8_t>(text[i]);
        if (byte < 0x80 && passes_[byte]) {
            if (!page_->multi_byte) out += static_cast<char>(byte);
            ++i;
            continue;
        }
        Utf8Char read = utf8_next(text.substr(i));
        if (read.length == 0) {
            out.resize(start);
            return EncodeResult::BadUtf8;
        }
        i += read.length;
        all_pass = false;
        if (page_->multi_byte) continue;  // checked here, converted below
        auto found = std::lower_bound(bytes_of_.begin(), bytes_of_.end(), read.code,
                                      [](const auto& entry, char32_t code) { return entry.first < code; });
        if (found == bytes_of_.end() || found->first != read.code) {
            out.resize(start);
            return EncodeResult::NotInCodePage;
        }
        out += found->second;
    }
    if (!page_->multi_byte) return EncodeResult::Ok;
    if (all_pass) {
        out.append(text);
        return EncodeResult::Ok;
    }
    return multi_byte_from_utf8(text, out);
}

EncodeResult TextCodec::multi_byte_from_utf8(std::string_view text, std::string& out) {
    const size_t start = out.size();
    size_t consumed = 0;
    reset(encoder_.get());
    if (convert_run(encoder_.get(), text, out, consumed) == 0) return EncodeResult::Ok;
    out.resize(start);
    return EncodeResult::NotInCodePage;  // the text was checked: the page lacks a character
}
