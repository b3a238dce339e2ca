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
// read nor written.
//
// A table opens its memo file at the first memo it reads or writes and keeps it
// open, with a read window over it, until the table is closed, its memo file is
// replaced (a pack renames files) or the table is bound to another name; a memo
// file that is missing then stays missing. What the header says (block size, next
// free block) and the file's size are kept too, and read again after any write to
// the file through another File.
//
// A text is appended at once, unless a record writer gathers: then texts wait in
// memory, end to end as they will stand in the file, and go out in one write with
// the header behind them when the writer flushes, always before the records that
// name them.
//
// A damaged header can name a next free block far past the end of the file; a text
// is never written there (nor behind a header too short to name the block, or one
// without a block size): the write is refused and the text not stored.
#include <algorithm>
#include <cstring>

#include "io/read_window.h"
#include "table/dbf.h"

namespace {

constexpr int64_t kDbase3BlockSize = 512;
constexpr int64_t kDbase3ReadLimit = 65535;
constexpr uint32_t kDbase4BlockMark = 0x0008FFFF;  // FF FF 08 00 on disk
// Texts longer than this are read straight into their string, past the window.
constexpr size_t kWindowedText = size_t{1} << 20;
// The header bytes any layout looks at.
constexpr size_t kHeadBytes = 24;

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

// The block number in the record: a 32-bit integer in a 4-byte field, decimal text
// otherwise. Numbers outside 1..0xFFFFFFFF name no block.
int64_t memo_block_of(const DbfTable& table, int field) {
    if (field < 0 || field >= table.field_count) return 0;
    int64_t block = dbf_wide_length(table.fields[field]) == 4 ? dbf_field_int(table, field)
                                                             : dbf_field_atol(table, field);
    return (block > 0 && block <= 0xFFFFFFFF) ? block : 0;
}

int64_t blocks_for(int64_t bytes, int64_t block_size) { return (bytes + block_size - 1) / block_size; }

}  // namespace

struct MemoFile {
    MemoFile(FileSystem& fs, std::string path, Layout layout) : fs(fs), path(std::move(path)), layout(layout) {}
    ~MemoFile() {
        if (watch.registered) fs.unwatch(watch);
    }

    FileSystem& fs;
    const std::string path;
    const Layout layout;
    File file;
    bool tried = false;  // an open was tried; a missing file stays missing
    bool writable = false;  // the file was opened for writing
    ReadWindow window;
    // The header's first bytes as the next append will see them, and the size of the
    // file; current while `known` and the watch is not stale.
    FileWatch watch;
    bool known = false;
    uint8_t head[kHeadBytes] = {};
    size_t head_length = 0;  // bytes the file had for `head`
    int64_t size = 0;
    // Texts waiting, end to end from `pending_start`, while `gathering` is above 0.
    int gathering = 0;
    std::vector<uint8_t> pending;
    int64_t pending_start = -1;
};

// Texts still waiting when a memo file is let go were never named by a written
// record: they go with it.
void MemoFileDeleter::operator()(MemoFile* memo) const { delete memo; }

namespace {

bool open_memo(MemoFile& m) {
    if (!m.tried) {
        m.tried = true;
        m.file = m.fs.open(m.path);
        m.writable = m.file.writable();
    }
    return m.file.is_open();
}

// Writes through the window, keeping the header facts current where they were.
int64_t own_write(MemoFile& m, const void* data, size_t count, int64_t offset) {
    const bool current = m.known && m.watch.registered && !m.watch.stale;
    int64_t written = m.window.write(m.file, data, count, offset);
    if (!current) return written;
    if (written > 0) {
        m.size = std::max(m.size, offset + written);
        for (int64_t i = offset; i < offset + written && i < static_cast<int64_t>(kHeadBytes); ++i)
            if (static_cast<size_t>(i) < m.head_length) m.head[i] = static_cast<const uint8_t*>(data)[i - offset];
    }
    m.watch.stale = false;
    return written;
}

// Brings the header facts up to date; false if the file can't be opened.
bool load_facts(MemoFile& m) {
    if (!open_memo(m)) return false;
    if (m.known && m.watch.registered && !m.watch.stale) return true;
    // Another File wrote to the memo file: texts still waiting go where they were
    // promised before the header is read again.
    if (!m.pending.empty()) (void)dbf_memo_flush(m);
    if (!m.watch.registered) (void)m.fs.watch(m.watch, m.file.fd());  // unwatched facts are read every time
    m.watch.stale = false;
    int64_t got = m.file.read_at(m.head, kHeadBytes, 0);
    m.head_length = got > 0 ? static_cast<size_t>(got) : 0;
    m.size = std::max<int64_t>(m.file.size(), 0);
    m.known = m.watch.registered;
    return true;
}

// Writes the waiting texts before a read that reaches them.
void reach(MemoFile& m, int64_t end) {
    if (!m.pending.empty() && end > m.pending_start) (void)dbf_memo_flush(m);
}

// `count` bytes at `offset` as a string; fewer where the file ends.
std::string bytes_at(MemoFile& m, int64_t offset, size_t count) {
    std::string text;
    if (count > kWindowedText) {
        text.resize(count);
        int64_t got = m.file.read_at(text.data(), count, offset);
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return text;
    }
    size_t got = 0;
    const uint8_t* bytes = m.window.view(m.file, offset, count, got);
    if (bytes != nullptr) text.assign(reinterpret_cast<const char*>(bytes), got);
    return text;
}

// Bytes the file holds from `offset` on; 0 past its end.
int64_t bytes_from(const MemoFile& m, int64_t offset) { return m.size > offset ? m.size - offset : 0; }

std::optional<std::string> read_dbase3(MemoFile& m, int64_t block) {
    int64_t offset = block * kDbase3BlockSize;
    reach(m, offset + kDbase3ReadLimit);
    // A block past the end of the file reads as an empty text.
    size_t wanted = static_cast<size_t>(std::min(kDbase3ReadLimit, bytes_from(m, offset)));
    if (wanted == 0) return std::string();
    size_t got = 0;
    const uint8_t* bytes = m.window.view(m.file, offset, wanted, got);
    if (bytes == nullptr) return std::string();
    const uint8_t* end = std::find(bytes, bytes + got, 0x1A);
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(end - bytes));
}

// Reads `length` text bytes behind the 8-byte block head at `offset`. A length
// larger than the whole file is damage and gives no text; one that only runs past
// the end gives what is there.
std::optional<std::string> read_text_after_head(MemoFile& m, int64_t offset, uint32_t length) {
    if (static_cast<int64_t>(length) > m.size) return std::nullopt;
    reach(m, offset + 8 + static_cast<int64_t>(length));
    int64_t wanted = std::min<int64_t>(length, bytes_from(m, offset + 8));
    if (wanted <= 0) return std::string();
    return bytes_at(m, offset + 8, static_cast<size_t>(wanted));
}

// The 8-byte block head at `offset`; false unless all of it is there.
bool read_block_head(MemoFile& m, int64_t offset, uint8_t (&head)[8]) {
    reach(m, offset + 8);
    size_t got = 0;
    const uint8_t* bytes = m.window.view(m.file, offset, sizeof head, got);
    if (bytes == nullptr || got != sizeof head) return false;
    std::memcpy(head, bytes, sizeof head);
    return true;
}

std::optional<std::string> read_dbase4(MemoFile& m, int64_t block) {
    if (m.head_length < 24) return std::nullopt;
    int64_t block_size = get_le16(m.head + 20);
    if (block_size == 0) return std::nullopt;
    int64_t offset = block * block_size;
    uint8_t head[8];
    if (!read_block_head(m, offset, head)) return std::nullopt;
    if (get_le32(head) != kDbase4BlockMark) return std::nullopt;
    uint32_t size = get_le32(head + 4);
    if (size < 8) return std::nullopt;
    return read_text_after_head(m, offset, size - 8);
}

std::optional<std::string> read_foxpro(MemoFile& m, int64_t block) {
    if (m.head_length < 8) return std::nullopt;
    int64_t block_size = get_be16(m.head + 6);
    if (block_size == 0) return std::nullopt;
    int64_t offset = block * block_size;
    uint8_t head[8];
    if (!read_block_head(m, offset, head)) return std::nullopt;
    uint32_t type = get_be32(head);
    if (type != 1 && type != 2) return std::nullopt;
    return read_text_after_head(m, offset, get_be32(head + 4));
}

// The bytes the file holds, texts still waiting included.
int64_t stored_size(const MemoFile& m) {
    if (m.pending.empty()) return m.size;
    return std::max(m.size, m.pending_start + static_cast<int64_t>(m.pending.size()));
}

// A text may go to free block `next` only if there is a block size and the block
// lies within the file or is the one right behind it: past that the write would
// leave a hole as large as the damaged number says. Block 0 is the header itself,
// and the number must fit the caller's signed result.
bool free_block_sound(const MemoFile& m, int64_t next, int64_t block_size) {
    return block_size > 0 && next > 0 && next <= INT32_MAX && next <= blocks_for(stored_size(m), block_size);
}

// The text goes to block `next` and takes `blocks`; the header then names
// `next` + `blocks`, which must fit its 32 bits.
bool append_fits(const MemoFile& m, int64_t next, int64_t block_size, int64_t blocks) {
    return free_block_sound(m, next, block_size) && next + blocks <= 0xFFFFFFFF;
}

// Where and how a text goes: its block, the block head before it, the mark behind
// it and the next free block after it. False if the header forbids the append.
struct Placement {
    int64_t block = 0;
    int64_t offset = 0;
    uint8_t head[8] = {};
    size_t head_length = 0;
    bool end_mark = false;
    int64_t next_after = 0;
};

bool place_text(const MemoFile& m, size_t length, Placement& p) {
    switch (m.layout) {
        case Layout::Dbase3: {
            // A file too short to name its next free block is not written to.
            if (m.head_length < 4) return false;
            p.block = get_le32(m.head);
            int64_t blocks = blocks_for(static_cast<int64_t>(length) + 1, kDbase3BlockSize);  // and one 0x1A
            if (!append_fits(m, p.block, kDbase3BlockSize, blocks)) return false;
            p.offset = p.block * kDbase3BlockSize;
            p.end_mark = true;
            p.next_after = p.block + blocks;
            return true;
        }
        case Layout::Dbase4: {
            if (m.head_length < 24) return false;
            p.block = get_le32(m.head);
            int64_t block_size = get_le16(m.head + 20);
            int64_t size = static_cast<int64_t>(length) + 8;
            if (block_size == 0 || size > 0xFFFFFFFF) return false;
            int64_t blocks = blocks_for(size, block_size);
            if (!append_fits(m, p.block, block_size, blocks)) return false;
            p.offset = p.block * block_size;
            put_le32(p.head, kDbase4BlockMark);
            put_le32(p.head + 4, static_cast<uint32_t>(size));
            p.head_length = 8;
            p.next_after = p.block + blocks;
            return true;
        }
        case Layout::FoxPro: {
            if (m.head_length < 8) return false;
            p.block = get_be32(m.head);
            int64_t block_size = get_be16(m.head + 6);
            if (block_size == 0 || length > 0xFFFFFFFF) return false;
            int64_t blocks = blocks_for(static_cast<int64_t>(length) + 8, block_size);
            if (!append_fits(m, p.block, block_size, blocks)) return false;
            p.offset = p.block * block_size;
            put_be32(p.head, 1);
            put_be32(p.head + 4, static_cast<uint32_t>(length));
            p.head_length = 8;
            p.next_after = p.block + blocks;
            return true;
        }
        case Layout::None:
            break;
    }
    return false;
}

// The header's next free block, in the layout's byte order, into `head`.
void put_next_free(const MemoFile& m, uint8_t* head, int64_t next) {
    if (m.layout == Layout::FoxPro)
        put_be32(head, static_cast<uint32_t>(next));
    else
        put_le32(head, static_cast<uint32_t>(next));
}

// Appends the bytes in [pending end, `to`) that stand between two waiting texts:
// what the file holds there, zeros past its end, as separate writes would leave them.
void fill_gap(MemoFile& m, int64_t to) {
    int64_t from = m.pending_start + static_cast<int64_t>(m.pending.size());
    if (to <= from) return;
    size_t at = m.pending.size();
    m.pending.resize(at + static_cast<size_t>(to - from), 0);
    if (from < m.size) {
        size_t count = static_cast<size_t>(std::min(to, m.size) - from);
        (void)m.file.read_at(m.pending.data() + at, count, from);  // unread bytes stay zero
    }
}

int32_t write_at_once(MemoFile& m, const Placement& p, const char* text, size_t length) {
    if (p.head_length > 0 && own_write(m, p.head, p.head_length, p.offset) != static_cast<int64_t>(p.head_length))
        return 0;
    int64_t text_offset = p.offset + static_cast<int64_t>(p.head_length);
    if (p.end_mark) {
        std::vector<uint8_t> bytes(text, text + length);
        bytes.push_back(0x1A);
        if (own_write(m, bytes.data(), bytes.size(), text_offset) != static_cast<int64_t>(bytes.size())) return 0;
    } else if (own_write(m, text, length, text_offset) != static_cast<int64_t>(length)) {
        return 0;
    }
    uint8_t next[4];
    put_next_free(m, next, p.next_after);
    (void)own_write(m, next, sizeof next, 0);  // the text is stored either way
    return static_cast<int32_t>(p.block);
}

int32_t gather(MemoFile& m, const Placement& p, const char* text, size_t length) {
    if (!m.pending.empty() && p.offset < m.pending_start + static_cast<int64_t>(m.pending.size())) {
        // Only a header that moved back could place a text among the waiting ones.
        if (!dbf_memo_flush(m)) return 0;
        if (!load_facts(m)) return 0;
        Placement again;
        if (!place_text(m, length, again)) return 0;
        return gather(m, again, text, length);
    }
    if (m.pending.empty()) m.pending_start = p.offset;
    fill_gap(m, p.offset);
    m.pending.insert(m.pending.end(), p.head, p.head + p.head_length);
    m.pending.insert(m.pending.end(), text, text + length);
    if (p.end_mark) m.pending.push_back(0x1A);
    put_next_free(m, m.head, p.next_after);
    return static_cast<int32_t>(p.block);
}

// Appends `length` bytes as one memo; its block number, or 0.
int32_t memo_append(MemoFile& m, const char* text, size_t length) {
    if (m.layout == Layout::None || length == 0) return 0;
    if (!load_facts(m)) return 0;
    Placement p;
    if (!place_text(m, length, p)) return 0;
    if (m.gathering == 0) return write_at_once(m, p, text, length);
    // A text that waits must be one the file can take: a read-only memo file says
    // no at once, as a write would.
    return m.writable ? gather(m, p, text, length) : 0;
}

std::optional<std::string> memo_read(MemoFile& m, int64_t block) {
    if (!load_facts(m)) return std::nullopt;
    switch (m.layout) {
        case Layout::Dbase3: return read_dbase3(m, block);
        case Layout::Dbase4: return read_dbase4(m, block);
        case Layout::FoxPro: return read_foxpro(m, block);
        case Layout::None: break;
    }
    return std::nullopt;
}

// The table's memo file, made (not yet opened) at the first call.
MemoFile* memo_of(DbfTable& table) {
    if (!table.memo_file) {
        if (!table.file.is_open()) return nullptr;
        table.memo_file.reset(new MemoFile(table.file.fs(), table.memo_path, layout_of(table)));
    }
    return table.memo_file.get();
}

}  // namespace

std::optional<std::string> dbf_memo_read(DbfTable& table, int field) {
    std::optional<std::string> text = dbf_memo_read_bytes(table, field);
    if (text) text->resize(std::strlen(text->c_str()));
    return text;
}

std::optional<std::string> dbf_memo_read_bytes(DbfTable& table, int field) {
    if (layout_of(table) == Layout::None) return std::nullopt;
    int64_t block = memo_block_of(table, field);
    if (block == 0) return std::nullopt;
    MemoFile* memo = memo_of(table);
    return memo == nullptr ? std::nullopt : memo_read(*memo, block);
}

int32_t dbf_memo_write(DbfTable& table, const char* text) {
    if (text == nullptr) return 0;
    MemoFile* memo = memo_of(table);
    return memo == nullptr ? 0 : memo_append(*memo, text, std::strlen(text));
}

int32_t dbf_memo_write_bytes(DbfTable& table, const std::string& bytes) {
    MemoFile* memo = memo_of(table);
    return memo == nullptr ? 0 : memo_append(*memo, bytes.data(), bytes.size());
}

MemoState dbf_memo_state(DbfTable& table) {
    if (table.header.signature == 0xE5 || layout_of(table) == Layout::None) return MemoState::Missing;
    MemoFile* memo = memo_of(table);
    if (memo == nullptr || !load_facts(*memo)) return MemoState::Missing;
    const MemoFile& m = *memo;
    switch (m.layout) {
        case Layout::Dbase3:
            if (m.head_length >= 4 && free_block_sound(m, get_le32(m.head), kDbase3BlockSize)) return MemoState::Sound;
            break;
        case Layout::Dbase4:
            if (m.head_length >= 24 && free_block_sound(m, get_le32(m.head), get_le16(m.head + 20)))
                return MemoState::Sound;
            break;
        case Layout::FoxPro:
            if (m.head_length >= 8 && free_block_sound(m, get_be32(m.head), get_be16(m.head + 6)))
                return MemoState::Sound;
            break;
        case Layout::None:
            return MemoState::Missing;
    }
    return MemoState::Damaged;
}

int32_t dbf_memo_block_size(DbfTable& table) {
    MemoFile* memo = memo_of(table);
    if (memo == nullptr || !load_facts(*memo)) return 0;
    switch (memo->layout) {
        case Layout::Dbase3:
            return static_cast<int32_t>(kDbase3BlockSize);
        case Layout::Dbase4:
            // A header too short to hold the word gives the common default.
            return memo->head_length >= 24 ? get_le16(memo->head + 20) : 256;
        case Layout::FoxPro:
            return memo->head_length >= 8 ? get_be16(memo->head + 6) : 256;
        case Layout::None:
            break;
    }
    return 0;
}

void dbf_memo_begin_gathering(DbfTable& table) {
    if (MemoFile* memo = memo_of(table)) ++memo->gathering;
}

bool dbf_memo_end_gathering(DbfTable& table) {
    MemoFile* memo = table.memo_file.get();
    if (memo == nullptr) return true;
    bool flushed = dbf_memo_flush(*memo);
    if (memo->gathering > 0) --memo->gathering;
    return flushed;
}

bool dbf_memo_flush(DbfTable& table) { return !table.memo_file || dbf_memo_flush(*table.memo_file); }

size_t dbf_memo_waiting(const DbfTable& table) { return table.memo_file ? dbf_memo_waiting(*table.memo_file) : 0; }

void dbf_memo_release(DbfTable& table) { table.memo_file.reset(); }

MemoFilePtr dbf_memo_attach(const DbfTable& table, const std::string& path) {
    MemoFilePtr memo(new MemoFile(table.file.fs(), path, layout_of(table)));
    memo->gathering = 1;
    return memo;
}

int32_t dbf_memo_append(MemoFile& memo, const std::string& bytes) { return memo_append(memo, bytes.data(), bytes.size()); }

size_t dbf_memo_waiting(const MemoFile& memo) { return memo.pending.size(); }

bool dbf_memo_flush(MemoFile& memo) {
    if (memo.pending.empty()) return true;
    const int64_t start = memo.pending_start;
    const int64_t written = own_write(memo, memo.pending.data(), memo.pending.size(), start);
    const bool complete = written == static_cast<int64_t>(memo.pending.size());
    memo.pending.clear();  // its room stays for the next texts
    memo.pending_start = -1;
    if (!complete) {
        // The header on disk still names the old next free block: appends start there again.
        memo.known = false;
        return false;
    }
    (void)own_write(memo, memo.head, 4, 0);  // the texts are stored either way
    return true;
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
