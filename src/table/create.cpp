// table/create.cpp
//
// New tables, and the length of a table file.
//
// A new table is its 32-byte header, the descriptors and the terminator 0x0D, with
// no records and no end mark: header_length is 32 x (fields + 1) + 1, nothing to
// spare. Its signature follows the memo family (0x83, 0xF5, 0x8B, 0x30, else 0x03),
// and field widths are brought to the sizes the family stores them in.
#include <cstring>
#include <vector>

#include "table/dbf.h"

namespace {

uint8_t signature_for(MemoKind kind) {
    switch (kind) {
        case MemoKind::Dbase3: return 0x83;
        case MemoKind::FoxPro: return 0xF5;
        case MemoKind::Dbase4: return 0x8B;
        case MemoKind::VisualFoxPro: return 0x30;
        case MemoKind::Unknown: break;
    }
    return 0x03;
}

void set_wide(FieldDesc& desc, uint16_t wide) {
    desc.length = static_cast<uint8_t>(wide & 0xFF);
    desc.decimals = static_cast<uint8_t>(wide >> 8);
}

// Brings one descriptor to the width its type is stored with under `signature`.
// True if the field keeps its text in the memo file.
bool normalise_field(FieldDesc& desc, uint8_t signature) {
    uint16_t wide = static_cast<uint16_t>(dbf_wide_length(desc));
    switch (desc.type) {
        case 'D': case 'Y':
            set_wide(desc, 8);
            return false;
        case 'I':
            set_wide(desc, 4);
            return false;
        case 'L':
            set_wide(desc, 1);
            return false;
        case 'T':
            if (wide != 14) set_wide(desc, signature == 0x30 ? 8 : 14);
            return false;
        case 'M': case 'G':
            set_wide(desc, signature == 0x30 ? 4 : 10);
            return true;
        case 'B':
            if (wide != 10 && wide != 8) set_wide(desc, signature == 0x8B ? 10 : 8);
            return dbf_wide_length(desc) == 10;
        default:
            return false;
    }
}

}  // namespace

bool dbf_create(FileSystem& fs, const std::string& path, FieldDesc* fields, int count, MemoKind kind, int block_size,
                bool make_memo) {
    if (count < 0 || count > kMaxFields) return false;
    DbfHeader header{};
    header.signature = signature_for(kind);
    dbf_stamp_today(header);

    bool has_memo = false;
    int64_t record_length = 1;
    for (int i = 0; i < count; ++i) {
        FieldDesc& desc = fields[i];
        desc.record_offset = static_cast<uint16_t>(record_length > 0xFFFF ? 0xFFFF : record_length);
        if (normalise_field(desc, header.signature)) has_memo = true;
        record_length += desc.type == 'C' ? dbf_wide_length(desc) : desc.length;
    }
    // A layout the 16-bit lengths can't describe would make a table that reads back
    // wrong; no file is made, and none is emptied.
    int64_t header_length = 32 * (static_cast<int64_t>(count) + 1) + 1;
    if (header_length > 0xFFFF || record_length > kRecordBufferSize) return false;
    header.header_length = static_cast<uint16_t>(header_length);
    header.record_length = static_cast<uint16_t>(record_length);

    const size_t descriptor_bytes = sizeof(FieldDesc) * static_cast<size_t>(count);
    std::vector<uint8_t> image(sizeof header + descriptor_bytes + 1);
    std::memcpy(image.data(), &header, sizeof header);
    if (count > 0) std::memcpy(image.data() + sizeof header, fields, descriptor_bytes);
    image.back() = 0x0D;

    // The memo file first: a table never stands without the memo file it was made
    // with. The table stands either way; a memo file that fails shows as empty memos.
    if (make_memo && has_memo) (void)dbf_create_memo(fs, path, kind, block_size);
    // A new file appears whole or not at all, so that a run killed half-way leaves
    // nothing that looks like a table and fails to open; one that exists is emptied.
    if (!fs.exists(path)) return fs.publish(path, image.data(), image.size());
    File file = fs.create(path);
    return file.is_open() && file.write_all(image.data(), image.size(), 0);
}

void dbf_fill_field(FieldDesc& desc, const char* name, char type, uint16_t wide) {
    desc = FieldDesc{};
    std::memcpy(desc.name, name, strnlen(name, sizeof desc.name));
    desc.type = type;
    set_wide(desc, wide);
}

bool dbf_truncate(DbfTable& table, int32_t count) {
    int64_t end = dbf_seek_physical(table, count);
    // Records the header places past the end of the file are cut or added nowhere.
    if (end < 0 || !dbf_append_fits(table)) return false;
    uint32_t old_count = table.header.record_count;
    int64_t records_end = dbf_seek_physical(table, old_count);
    if (records_end >= 0 && end <= records_end) {
        // Shorter: the header first, so that a failing disk leaves the table as it
        // was; the cut then keeps the end mark the header write put behind the last record.
        table.header.record_count = static_cast<uint32_t>(count);
        if (!dbf_write_header(table)) {
            table.header.record_count = old_count;
            return false;
        }
        return table.file.truncate(end + 1);
    }
    // Longer: records of zero bytes, their marks too, so the old end mark and any
    // torn record behind the last one go first. A header that can't be written takes
    // them off again.
    if (records_end >= 0 && !table.file.truncate(records_end)) return false;
    if (!table.file.truncate(end)) return false;
    table.header.record_count = static_cast<uint32_t>(count);
    if (!dbf_write_header(table)) {
        table.header.record_count = old_count;
        if (records_end >= 0) (void)table.file.truncate(records_end);  // as far back as the file lets us
        return false;
    }
    return true;
}

bool dbf_zap(DbfTable& table) { return dbf_truncate(table, 0); }
