// tests/support/table_builder.h
//
// Builds .dbf and memo file images byte by byte, independently of the engine, so
// that tests can make sound tables and damaged ones on purpose: every header byte
// can be overridden, descriptors can be given raw, the terminator and the end mark
// can be left out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct FieldSpec {
    std::string name;
    char type;
    int length;        // the length byte; for C fields wider than 255 the wide length
    int decimals = 0;
};

struct TableImage {
    uint8_t signature = 0x03;
    uint8_t year = 101, month = 3, day = 14;  // 14 March 2001
    std::vector<FieldSpec> fields;
    std::vector<std::string> records;  // whole records, deletion mark first

    // Overrides of what is otherwise computed.
    std::optional<uint32_t> record_count;
    std::optional<uint16_t> header_length;
    std::optional<uint16_t> record_length;
    uint8_t table_flags = 0;
    uint8_t code_page_mark = 0;
    bool terminator = true;      // the 0x0D behind the descriptors
    bool end_mark = true;        // the 0x1A behind the records
    std::string extra_header;    // bytes between the terminator and the first record
    std::string raw_descriptors; // if set, written instead of the descriptors of `fields`

    int computed_record_length() const;
    // A record from one value per field: C, L, D and memo text left-aligned, N and F
    // right-aligned, binary layouts (I, Y, B of 8, T of 8, M of 4) taken as given and
    // zero-padded. Values are cut at the field width.
    std::string record(const std::vector<std::string>& values, bool deleted = false) const;
    void add(const std::vector<std::string>& values, bool deleted = false);
    std::string bytes() const;
};

// One 32-byte descriptor image.
std::string descriptor(const std::string& name, char type, int length, int decimals = 0, int offset = 0);

std::string le16(uint16_t value);
std::string le32(int32_t value);
std::string le64(int64_t value);
std::string be32(uint32_t value);
std::string double_bytes(double value);

// Memo file images. `add` stores a text and returns its block number.
struct MemoImage {
    enum Layout { Dbase3, Dbase4, FoxPro };
    Layout layout;
    int block_size;
    std::string data;

    explicit MemoImage(Layout layout, int block_size = 512);
    int32_t add(const std::string& text, uint32_t fox_block_type = 1);
    std::string bytes() const { return data; }
};

void write_file(const std::string& path, const std::string& bytes);
std::string read_file(const std::string& path);
bool file_exists(const std::string& path);
