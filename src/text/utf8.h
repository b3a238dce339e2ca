// text/utf8.h
//
// Conversion between the text of a table's code page and UTF-8, through the C
// library's iconv. A single-byte page is asked once, byte by byte, when the
// converter opens: after that a value converts by one table look-up per byte, and
// bytes that stand for themselves (ASCII, in every page here) are copied in runs.
// A multi-byte page goes through iconv for each value that holds a byte above 0x7F.
//
// Either way a value converts whole: a byte that its page leaves undefined, or
// that starts no valid character of a multi-byte page, becomes U+FFFD (EF BF BD)
// and the bytes behind it convert as usual.
#pragma once

#include <iconv.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/code_page_marks.h"

// U+FFFD REPLACEMENT CHARACTER in UTF-8.
inline constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";

// One character read from UTF-8.
struct Utf8Char {
    char32_t code;  // the code point
    size_t length;  // bytes it took, 1 to 4; 0 when the bytes were not well-formed UTF-8
};

// Reads the character at the front of non-empty `text`. Overlong forms, surrogates,
// code points above U+10FFFF and cut sequences are not well-formed (length 0).
[[nodiscard]] Utf8Char utf8_next(std::string_view text);

// How a conversion of UTF-8 text into a code page ended.
enum class EncodeResult {
    Ok,
    NotInCodePage,  // a character has no bytes in the page
    BadUtf8,        // the text is not well-formed UTF-8
};

// Converts between one code page and UTF-8. The caller owns it, typically one per
// table; it holds iconv descriptors, so it moves but does not copy.
class TextCodec {
  public:
    // A converter for `page`, or nullopt when the C library can't convert it.
    [[nodiscard]] static std::optional<TextCodec> open(const CodePage& page);

    // The page it converts.
    [[nodiscard]] const CodePage& page() const { return *page_; }
    // Appends the UTF-8 form of `text` (bytes of the page) to `out`.
    void to_utf8(std::string_view text, std::string& out);
    // Whether ASCII text is its own UTF-8 form.
    [[nodiscard]] bool ascii_passes() const { return ascii_passes_; }
    // Appends the page's bytes for the UTF-8 `text` to `out`; on failure `out` is left as it was.
    [[nodiscard]] EncodeResult from_utf8(std::string_view text, std::string& out);

  private:
    // An iconv descriptor, closed by its owner.
    class Iconv {
      public:
        Iconv() = default;
        explicit Iconv(iconv_t descriptor) : descriptor_(descriptor) {}
        Iconv(Iconv&& other) noexcept : descriptor_(std::exchange(other.descriptor_, kNone)) {}
        Iconv& operator=(Iconv&& other) noexcept;
        Iconv(const Iconv&) = delete;
        Iconv& operator=(const Iconv&) = delete;
        ~Iconv();
        [[nodiscard]] bool is_open() const { return descriptor_ != kNone; }
        [[nodiscard]] iconv_t get() const { return descriptor_; }

      private:
        static inline const iconv_t kNone = reinterpret_cast<iconv_t>(-1);
        iconv_t descriptor_ = kNone;
    };

    // The UTF-8 bytes of one byte of a single-byte page.
    struct Glyph {
        uint8_t length;
        char bytes[4];
    };

    explicit TextCodec(const CodePage& page) : page_(&page) {}
    // Records the UTF-8 form of a byte of a single-byte page; `defined`: the page has a character there.
    void add_glyph(char byte, std::string_view utf8, bool defined);
    void multi_byte_to_utf8(std::string_view text, std::string& out);
    [[nodiscard]] EncodeResult multi_byte_from_utf8(std::string_view text, std::string& out);

    const CodePage* page_;
    std::array<bool, 256> passes_{};  // the byte is its own UTF-8 form
    bool ascii_passes_ = false;       // every byte below 0x80 is
    std::array<Glyph, 256> glyphs_{};  // single-byte pages: each byte's UTF-8 form
    std::vector<std::pair<char32_t, char>> bytes_of_{};  // single-byte pages: code point -> byte, sorted
    Iconv decoder_;  // multi-byte pages: page -> UTF-8
    Iconv encoder_;  // multi-byte pages: UTF-8 -> page
};
