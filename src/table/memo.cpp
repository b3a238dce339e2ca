// table/memo.cpp
//
// Memo files. The record holds the number of the text's first block, counted from
// the start of the file; the text sits at block number x block size. Block 0 holds
// the file header, and bytes 0 to 3 of it always name the next free block, where
// the next text is appended. Three layouts:
//
//   dBase III (.dbt, tables 0x03, 0x83): block size 512, not stored. Next free is
//     little-endian. A text has no block head and ends at its first 0x1A.
//   dBase IV (.dbt, tables 0x04, 0x8B): next free little-endian, 0x0102 at 18, the
//     block size as a little-endian word at 20. A text block starts with
//     FF FF 08 00 and a little-endian size that counts these 8 bytes and the text.
//   FoxPro (.fpt, tables 0xF5, 0x30): everything big-endian. Next free at 0, the
//     block size as a word at 6. A text block starts with its type (1 text, 2 also
//     read as text) and the length of the text alone.
//
// Tables 0xE5 name an .smt file whose layout is not known; their memos are neither
// read nor written. The memo file is never kept open: each operation opens it and
// closes it before it returns.
//
// A damaged header can name a next free block far past the end of the file; a text
// is never written there (nor behind a header too short to name the block, or one
// without a block size): the write is refused and the text not stored.
#include <algorithm>
#include <cstring>

#include "table/dbf.h"

namespace {

constexpr int64_t kDbase3BlockSize = 512;
constexpr int64_t kDbase3ReadLimit = 65535;
constexpr uint32_t kDbase4BlockMark = 0x0008FFFF;  // FF FF 08 00 on disk

enum class Layout { None, Dbase3, Dbase4, FoxPro };

Layout layout_of(const DbfTable& table) {
    switch (table.header.signature) {
        case 0x03: case 0x83: return Layout::Dbase3;
        case 0x04: case 0x8B: return Layout::Dbase4;
        case 0x30: case 0xF5: return Layout::FoxPro;
        default: return Layout::None;
    }
}

uint32_t get_le32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

uint32_t get_be32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

uint16_t get_le16(const uint8_t* bytes) { return static_cast<uint16_t>(bytes[0] | bytes[1] << 8); }

uint16_t get_be16(const uint8_t* bytes) { return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]); }

void put_le32(uint8_t* bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
}

void put_be32(uint8_t* bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * (3 - i)));
}

void put_le16(uint8_t* bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

void put_be16(uint8_t* bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}

// Bytes the file holds from `offset` on; 0 past its end or if its size can't be had.
int64_t bytes_from(const File& file, int64_t offset) {
    int64_t size = file.size();
    return size > offset ? size - offset : 0;
}

// The block number in the record: a 32-bit integer in a 4-byte field, decimal text
// otherwise. Numbers outside 1..0xFFFFFFFF name no block.
int64_t memo_block_of(const DbfTable& table, int field) {
    if (field < 0 || field >= table.field_count) return 0;
    int64_t block = dbf_wide_length(table.fields[field]) == 4 ? dbf_field_int(table, field)
                                                             : dbf_field_atol(table, field);
    return (block > 0 && block <= 0xFFFFFFFF) ? block : 0;
}

// The first `count` bytes, whole; callers of dbf_memo_read see them up to the first NUL.
std::string first_bytes(const std::vector<char>& bytes, size_t count) {
    return std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
}

std::optional<std::string> read_dbase3(const File& file, int64_t block) {
    int64_t offset = block * kDbase3BlockSize;
    // A block past the end of the file reads as an empty text.
    int64_t wanted = std::min(kDbase3ReadLimit, bytes_from(file, offset));
    std::vector<char> bytes(static_cast<size_t>(wanted));
    int64_t got = wanted > 0 ? file.read_at(bytes.data(), bytes.size(), offset) : 0;
    auto end = bytes.begin() + (got > 0 ? got : 0);
    return first_bytes(bytes, static_cast<size_t>(std::find(bytes.begin(), end, '\x1A') - bytes.begin()));
}

// Reads `length` text bytes behind the 8-byte block head at `offset`. A length
// larger than the whole file is damage and gives no text; one that only runs past
// the end gives what is there.
std::optional<std::string> read_text_after_head(const File& file, int64_t offset, uint32_t length) {
    int64_t size = file.size();
    if (size < 0 || static_cast<int64_t>(length) > size) return std::nullopt;
    int64_t wanted = std::min<int64_t>(length, bytes_from(file, offset + 8));
    std::vector<char> bytes(static_cast<size_t>(wanted));
    int64_t got = wanted > 0 ? file.read_at(bytes.data(), bytes.size(), offset + 8) : 0;
    return first_bytes(bytes, got > 0 ? static_cast<size_t>(got) : 0);
}

std::optional<std::string> read_dbase4(const File& file, int64_t block) {
    uint8_t header[24];
    if (!file.read_exactly(header, sizeof header, 0)) return std::nullopt;
    int64_t block_size = get_le16(header + 20);
    if (block_size == 0) return std::nullopt;
    int64_t offset = block * block_size;
    uint8_t head[8];
    if (!file.read_exactly(head, sizeof head, offset)) return std::nullopt;
    if (get_le32(head) != kDbase4BlockMark) return std::nullopt;
    uint32_t size = get_le32(head + 4);
    if (size < 8) return std::nullopt;
    return read_text_after_head(file, offset, size - 8);
}

std::optional<std::string> read_foxpro(const File& file, int64_t block) {
    uint8_t header[8];
    if (!file.read_exactly(header, sizeof header, 0)) return std::nullopt;
    int64_t block_size = get_be16(header + 6);
    if (block_size == 0) return std::nullopt;
    int64_t offset = block * block_size;
    uint8_t head[8];
    if (!file.read_exactly(head, sizeof head, offset)) return std::nullopt;
    uint32_t type = get_be32(head);
    if (type != 1 && type != 2) return std::nullopt;
    return read_text_after_head(file, offset, get_be32(head + 4));
}

int64_t blocks_for(int64_t bytes, int64_t block_size) { return (bytes + block_size - 1) / block_size; }

// Where the header says the next text goes.
struct FreeBlock {
    int64_t next = 0;
    int64_t block_size = 0;
};

// The next free block and the block size of the header; no value if the file is
// too short to name them.
std::optional<FreeBlock> read_free_block(const File& file, Layout layout) {
    uint8_t header[24];
    switch (layout) {
        case Layout::Dbase3:
            if (!file.read_exactly(header, 4, 0)) return std::nullopt;
            return FreeBlock{get_le32(header), kDbase3BlockSize};
        case Layout::Dbase4:
            if (!file.read_exactly(header, 24, 0)) return std::nullopt;
            return FreeBlock{get_le32(header), get_le16(header + 20)};
        case Layout::FoxPro:
            if (!file.read_exactly(header, 8, 0)) return std::nullopt;
            return FreeBlock{get_be32(header), get_be16(header + 6)};
        case Layout::None:
            break;
    }
    return std::nullopt;
}

// A text may go to the free block only if there is a block size and the block lies
// within the file or is the one right behind it: past that the write would leave a
// hole as large as the damaged number says. Block 0 is the header itself, and the
// number must fit the caller's signed result.
bool free_block_sound(const File& file, const FreeBlock& free) {
    int64_t size = file.size();
    if (size < 0 || free.block_size <= 0) return false;
    return free.next > 0 && free.next <= INT32_MAX && free.next <= blocks_for(size, free.block_size);
}

// The text goes to block `next`; the header then names `next` + `blocks`, which
// must fit its 32 bits.
bool append_fits(const FreeBlock& free, int64_t blocks) { return free.next + blocks <= 0xFFFFFFFF; }

int32_t append_dbase3(File& file, const FreeBlock& free, const char* text, size_t length) {
    int64_t stored = static_cast<int64_t>(length) + 1;  // the text and one 0x1A
    int64_t blocks = blocks_for(stored, kDbase3BlockSize);
    if (!append_fits(free, blocks)) return 0;
    std::vector<uint8_t> bytes(text, text + length);
    bytes.push_back(0x1A);
    if (!file.write_all(bytes.data(), bytes.size(), free.next * kDbase3BlockSize)) return 0;
    uint8_t header[4];
    put_le32(header, static_cast<uint32_t>(free.next + blocks));
    (void)file.write_all(header, sizeof header, 0);  // the text is stored either way
    return static_cast<int32_t>(free.next);
}

int32_t append_dbase4(File& file, const FreeBlock& free, const char* text, size_t length) {
    int64_t size = static_cast<int64_t>(length) + 8;
    if (size > 0xFFFFFFFF) return 0;
    int64_t blocks = blocks_for(size, free.block_size);
    if (!append_fits(free, blocks)) return 0;
    int64_t offset = free.next * free.block_size;
    uint8_t head[8];
    put_le32(head, kDbase4BlockMark);
    put_le32(head + 4, static_cast<uint32_t>(size));
    if (!file.write_all(head, sizeof head, offset)) return 0;
    if (!file.write_all(text, length, offset + 8)) return 0;
    uint8_t header[4];
    put_le32(header, static_cast<uint32_t>(free.next + blocks));
    (void)file.write_all(header, 4, 0);  // the text is stored either way
    return static_cast<int32_t>(free.next);
}

int32_t append_foxpro(File& file, const FreeBlock& free, const char* text, size_t length) {
    if (length > 0xFFFFFFFF) return 0;
    int64_t blocks = blocks_for(static_cast<int64_t>(length) + 8, free.block_size);
    if (!append_fits(free, blocks)) return 0;
    int64_t offset = free.next * free.block_size;
    uint8_t head[8];
    put_be32(head, 1);
    put_be32(head + 4, static_cast<uint32_t>(length));
    if (!file.write_all(head, sizeof head, offset)) return 0;
    if (!file.write_all(text, length, offset + 8)) return 0;
    uint8_t header[4];
    put_be32(header, static_cast<uint32_t>(free.next + blocks));
    (void)file.write_all(header, 4, 0);  // the text is stored either way
    return static_cast<int32_t>(free.next);
}

File open_memo(DbfTable& table) { return table.file.fs().open(table.memo_path); }

// Appends `length` bytes as one memo; its block number, or 0.
int32_t memo_append(DbfTable& table, const char* text, size_t length) {
    if (table.header.signature == 0xE5 || length == 0) return 0;
    File memo = open_memo(table);
    if (!memo.is_open()) return 0;
    const Layout layout = layout_of(table);
    std::optional<FreeBlock> free = read_free_block(memo, layout);
    // A file too short to name its next free block, or one that names a block past
    // its end, is not written to.
    if (!free || !free_block_sound(memo, *free)) return 0;
    switch (layout) {
        case Layout::Dbase3: return append_dbase3(memo, *free, text, length);
        case Layout::Dbase4: return append_dbase4(memo, *free, text, length);
        case Layout::FoxPro: return append_foxpro(memo, *free, text, length);
        case Layout::None: break;
    }
    return 0;
}

}  // namespace

std::optional<std::string> dbf_memo_read(DbfTable& table, int field) {
    std::optional<std::string> text = dbf_memo_read_bytes(table, field);
    if (text) text->resize(std::strlen(text->c_str()));
    return text;
}

std::optional<std::string> dbf_memo_read_bytes(DbfTable& table, int field) {
    if (table.header.signature == 0xE5) return std::nullopt;
    int64_t block = memo_block_of(table, field);
    if (block == 0) return std::nullopt;

    File memo = open_memo(table);
    if (!memo.is_open()) return std::nullopt;
    switch (layout_of(table)) {
        case Layout::Dbase3: return read_dbase3(memo, block);
        case Layout::Dbase4: return read_dbase4(memo, block);
        case Layout::FoxPro: return read_foxpro(memo, block);
        case Layout::None: break;
    }
    return std::nullopt;
}

int32_t dbf_memo_write(DbfTable& table, const char* text) {
    return text == nullptr ? 0 : memo_append(table, text, std::strlen(text));
}

int32_t dbf_memo_write_bytes(DbfTable& table, const std::string& bytes) {
    return memo_append(table, bytes.data(), bytes.size());
}

MemoState dbf_memo_state(DbfTable& table) {
    if (table.header.signature == 0xE5) return MemoState::Missing;
    const Layout layout = layout_of(table);
    if (layout == Layout::None) return MemoState::Missing;
    File memo = open_memo(table);
    if (!memo.is_open()) return MemoState::Missing;
    std::optional<FreeBlock> free = read_free_block(memo, layout);
    return free && free_block_sound(memo, *free) ? MemoState::Sound : MemoState::Damaged;
}

int32_t dbf_memo_block_size(DbfTable& table) {
    File memo = open_memo(table);
    if (!memo.is_open()) return 0;
    switch (layout_of(table)) {
        case Layout::Dbase3:
            return static_cast<int32_t>(kDbase3BlockSize);
        case Layout::Dbase4: {
            // A header too short to hold the word gives the common default.
            uint8_t header[24];
            return memo.read_exactly(header, sizeof header, 0) ? get_le16(header + 20) : 256;
        }
        case Layout::FoxPro: {
            uint8_t header[8];
            return memo.read_exactly(header, sizeof header, 0) ? get_be16(header + 6) : 256;
        }
        case Layout::None:
            break;
    }
    return 0;
}

bool dbf_create_memo(FileSystem& fs, const std::string& path, MemoKind kind, int block_size) {
    // The block size goes into a 16-bit word; anything it can't hold takes 512, as 0 does.
    int64_t block = (block_size > 0 && block_size <= 0xFFFF) ? block_size : 512;
    int64_t stored = kind == MemoKind::Dbase3 ? 512 : block;
    int64_t header_size = std::max<int64_t>(block, 512);
    uint32_t first_free = static_cast<uint32_t>(header_size / stored);

    std::vector<uint8_t> header(static_cast<size_t>(header_size), 0);
    switch (kind) {
        case MemoKind::Dbase3:
            put_le16(header.data(), 1);
            break;
        case MemoKind::FoxPro: case MemoKind::VisualFoxPro:
            put_be32(header.data(), first_free);
            put_be16(header.data() + 6, static_cast<uint16_t>(stored));
            break;
        case MemoKind::Dbase4:
            put_le16(header.data(), static_cast<uint16_t>(first_free));
            put_le16(header.data() + 18, 0x0102);
            put_le16(header.data() + 20, static_cast<uint16_t>(stored));
            break;
        case MemoKind::Unknown:
            break;
    }

    File file = fs.create(dbf_memo_file_name(path, kind));
    return file.is_open() && file.write_all(header.data(), header.size(), 0);
}
