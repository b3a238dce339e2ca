// table/open.cpp
//
// Opening a table and judging it. Header and descriptors are read as verbatim
// images; the field offsets, the record count and, for an unknown signature, the
// signature itself are worked out here rather than trusted.
#include <cctype>
#include <cstring>
#include <strings.h>

#include "table/dbf.h"

namespace {

bool is_known_signature(uint8_t signature) {
    switch (signature) {
        case 0x03: case 0x04: case 0x30: case 0x83: case 0x8B: case 0xE5: case 0xF5:
            return true;
        default:
            return false;
    }
}

bool is_known_type(char type) {
    return type == '\0' || std::strchr("CNFDLMTGYBI0", type) != nullptr;
}

// 0x0D ends the descriptors; old shapefile writers put 0x0A there instead.
bool is_terminator(char byte) { return byte == '\x0D' || byte == '\x0A'; }

// A header-only table: the 32-byte header and the terminator, perhaps one byte
// more, and no descriptor. Shapefile writers make these for layers without
// attributes; records, if any, are deletion marks alone.
bool is_header_only(const DbfHeader& header) { return header.header_length == 33 || header.header_length == 34; }

// True if `length` divides the bytes behind the header into whole records, or
// does so but for one end mark 0x1A.
bool whole_records(const File& file, int64_t size, int64_t data, int64_t length) {
    if (length <= 0) return false;
    int64_t rest = data % length;
    if (rest == 0) return true;
    uint8_t last = 0;
    return rest == 1 && file.read_exactly(&last, 1, size - 1) && last == 0x1A;
}

}  // namespace

void dbf_set_date_delimiter(DbfTable& table, char delimiter) {
    if (delimiter == '\0') delimiter = '.';
    for (int mode = 1; mode <= 3; ++mode) {
        // Positions 4 and 9 are the two places between the date's three numbers.
        for (std::string* format : {&table.date_format[mode], &table.datetime_format[mode]}) {
            (*format)[4] = delimiter;
            (*format)[9] = delimiter;
        }
    }
}

bool dbf_read_header(DbfTable& table) {
    table.status = 0;
    int64_t got = table.file.read_at(&table.header, sizeof(DbfHeader), 0);
    if (got != static_cast<int64_t>(sizeof(DbfHeader))) return false;
    bool known = is_known_signature(table.header.signature);
    if (!known) table.status |= DBF_STATUS_BAD_SIGNATURE;
    if (is_header_only(table.header)) {
        // Taken only when nothing else is in doubt: a known signature, the terminator.
        char terminator = 0;
        return known && table.file.read_exactly(&terminator, 1, sizeof(DbfHeader)) && is_terminator(terminator);
    }
    return table.header.header_length >= 65 && table.header.record_length >= 2;
}

bool dbf_read_fields(DbfTable& table) {
    bool result = false;
    int balance = 0;
    int64_t offset = 1;
    table.fields.fill(FieldDesc{});
    table.field_count = 0;
    table.first_memo_field = -1;
    int64_t got = table.file.read_at(table.fields.data(), kDescriptorBytes, sizeof(DbfHeader));
    if (got > 0) {
        if (!is_terminator(table.fields[0].name[0])) {
            for (int i = 0;; ++i) {
                FieldDesc& field = table.fields[i];
                balance += is_known_type(field.type) ? 1 : -1;
                if (table.first_memo_field == -1 && dbf_field_is_memo(table, i)) table.first_memo_field = i;
                field.record_offset = static_cast<uint16_t>(offset > 0xFFFF ? 0xFFFF : offset);
                offset += dbf_field_width(table, i);
                ++table.field_count;
                if (i + 1 == kMaxFields) break;
                if (is_terminator(table.fields[i + 1].name[0])) break;
                if (32 * (i + 1) > table.header.header_length) break;
            }
        }
        if (table.field_count != 0 && balance == table.field_count) {
            result = true;
        } else if (balance >= 0) {
            table.status |= DBF_STATUS_BAD_FIELD_TYPES;
            result = true;
        }
        if (result) {
            table.record.assign(kRecordBufferSize, 0);
            table.value.assign(kValueBufferSize, 0);
            dbf_blank_record(table);
        }
    }
    if (table.status & DBF_STATUS_BAD_SIGNATURE)
        table.header.signature = table.first_memo_field != -1 ? 0xF5 : 0x03;

    table.described_length = offset;
    // A header whose record length disagrees with the field widths is believed
    // unless the file size sides with the widths: then records are read with the
    // computed length, and /CHECK writes it back.
    const int64_t size = table.file.size();
    const int64_t data = size - table.header.header_length;
    if (result && offset != table.header.record_length && offset <= kRecordBufferSize && size >= 0 && data >= 0 &&
        whole_records(table.file, size, data, offset) &&
        !whole_records(table.file, size, data, table.header.record_length)) {
        table.header.record_length = static_cast<uint16_t>(offset);
        table.status |= DBF_STATUS_BAD_RECORD_LENGTH;
    }
    (void)dbf_refresh_count(table);  // a size that can't be had counts no records
    return result;
}

int64_t dbf_computed_record_length(const DbfTable& table) { return table.described_length; }

bool dbf_refresh_count(DbfTable& table) {
    // The count in the header is never used: the file size decides, with the
    // computed record length as divisor. A torn last record and the end mark vanish.
    int64_t size = table.file.size();
    int64_t count = size < 0 ? 0 : (size - table.header.header_length) / dbf_computed_record_length(table);
    if (count < 0) count = 0;  // a file shorter than its header holds no records
    // Records of a header-only table are their deletion marks alone; a last 0x1A is
    // the end mark, not a record.
    uint8_t last = 0;
    if (is_header_only(table.header) && count > 0 && table.file.read_exactly(&last, 1, size - 1) && last == 0x1A)
        --count;
    table.partial = count > INT32_MAX;
    if (count > INT32_MAX) count = INT32_MAX;
    table.header.record_count = static_cast<uint32_t>(count);
    table.counted_size = size;
    return size >= 0;
}

uint8_t dbf_field_blank_byte(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'C': case 'D': case 'F': case 'L': case 'N':
            return 0x20;
        case 'B':
            return (desc.length == 8 || desc.length == 4) ? 0x00 : 0x20;
        case 'G': case 'M':
            return desc.length == 10 ? 0x20 : 0x00;
        case 'T':
            return desc.length == 14 ? 0x20 : 0x00;
        default:
            return 0x00;
    }
}

void dbf_field_blank(DbfTable& table, int field) {
    int width = dbf_field_width(table, field);
    if (uint8_t* bytes = dbf_field_ptr(table, field, width))
        std::memset(bytes, dbf_field_blank_byte(table, field), static_cast<size_t>(width));
}

void dbf_blank_record(DbfTable& table) {
    if (table.record.empty()) return;
    table.record[0] = ' ';
    for (int i = 0; i < table.field_count; ++i) dbf_field_blank(table, i);
}

void dbf_split_path(const std::string& path, std::string& name, std::string& extension) {
    size_t dot = path.rfind('.');
    if (dot == std::string::npos) {
        name = path;
        extension.clear();
    } else {
        name = path.substr(0, dot);
        extension = path.substr(dot);
    }
}

std::string dbf_memo_file_name(const std::string& path, MemoKind kind) {
    std::string name, extension;
    dbf_split_path(path, name, extension);
    switch (kind) {
        case MemoKind::Dbase3: case MemoKind::Dbase4: return name + ".dbt";
        case MemoKind::FoxPro: case MemoKind::VisualFoxPro: return name + ".fpt";
        case MemoKind::Unknown: break;
    }
    return name + ".smt";
}

MemoKind dbf_memo_kind(const DbfTable& table) {
    switch (table.header.signature) {
        case 0xF5: return MemoKind::FoxPro;
        case 0x04: case 0x8B: return MemoKind::Dbase4;
        case 0x30: return MemoKind::VisualFoxPro;
        case 0xE5: return MemoKind::Unknown;
        default: return MemoKind::Dbase3;
    }
}

MemoKind dbf_bind_memo(DbfTable& table) {
    MemoKind kind = dbf_memo_kind(table);
    std::string path = dbf_memo_file_name(table.path, kind);
    // Only a table with memo fields reads a memo file, and only an open one can look.
    if (table.first_memo_field != -1 && table.file.is_open()) {
        if (std::optional<std::string> found = dbf_find_memo_file(table.file.fs(), table.path, path))
            path = *found;
    }
    if (path != table.memo_path) {
        dbf_memo_release(table);
        table.memo_path = std::move(path);
    }
    return kind;
}

std::optional<std::string> dbf_find_memo_file(const FileSystem& fs, const std::string& table_path,
                                              const std::string& memo_path) {
    if (fs.exists(memo_path)) return std::nullopt;
    // The memo extension in the case of the table's: STAFF.DBF -> STAFF.DBT.
    std::string table_name, table_extension, memo_name, memo_extension;
    dbf_split_path(table_path, table_name, table_extension);
    dbf_split_path(memo_path, memo_name, memo_extension);
    std::string cased = memo_extension;
    for (size_t i = 1; i < cased.size() && i < table_extension.size(); ++i) {
        unsigned char model = static_cast<unsigned char>(table_extension[i]);
        unsigned char c = static_cast<unsigned char>(cased[i]);
        cased[i] = static_cast<char>(std::isupper(model) ? std::toupper(c) : std::islower(model) ? std::tolower(c) : c);
    }
    if (cased != memo_extension && fs.exists(memo_name + cased)) return memo_name + cased;
    // Any name of the directory that differs from the memo file's in case alone;
    // of several, the first in byte order, so that every run takes the same.
    size_t slash = memo_path.rfind('/');
    std::string directory = slash == std::string::npos ? "" : memo_path.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? memo_path : memo_path.substr(slash + 1);
    std::optional<std::string> best;
    for (const std::string& name : fs.list_directory(directory))
        if (strcasecmp(name.c_str(), base.c_str()) == 0 && (!best || name < *best)) best = name;
    if (!best) return std::nullopt;
    return directory + *best;
}

const char* dbf_memo_family_name(MemoKind kind) {
    switch (kind) {
        case MemoKind::Dbase3: return "dBase III";
        case MemoKind::FoxPro: return "FoxPro";
        case MemoKind::Dbase4: return "dBase IV";
        case MemoKind::VisualFoxPro: return "Visual FoxPro";
        case MemoKind::Unknown: break;
    }
    return "Unknown";
}

OpenFailure dbf_open_into(DbfTable& table, FileSystem& fs, const std::string& path) {
    dbf_memo_release(table);
    table.read_cache.reset();
    // A pack killed half-way is finished before the table is read: until then its
    // memo file may already be the new one.
    (void)dbf_finish_pack(fs, path);  // one that can't be finished leaves the old table
    table.file = fs.open(path);
    if (!table.file.is_open()) return OpenFailure::CantOpen;
    if (!dbf_read_header(table)) return OpenFailure::InvalidHeader;
    if (!dbf_read_fields(table)) return OpenFailure::InvalidFields;
    table.path = path;
    dbf_bind_memo(table);
    return OpenFailure::None;
}

std::unique_ptr<DbfTable> dbf_open(FileSystem& fs, const std::string& path, OpenFailure* failure) {
    auto table = std::make_unique<DbfTable>();
    OpenFailure result = dbf_open_into(*table, fs, path);
    if (failure != nullptr) *failure = result;
    if (result != OpenFailure::None) return nullptr;
    return table;
}

void dbf_close(DbfTable& table) {
    if (!table.file.is_open()) return;
    dbf_memo_release(table);
    table.read_cache.reset();
    table.file.close();
    table.record.clear();
    table.record.shrink_to_fit();
    table.value.clear();
    table.value.shrink_to_fit();
}

void dbf_free(std::unique_ptr<DbfTable>& table) {
    if (!table) return;
    table->filter_index.reset();
    table->order_index.reset();
    table->filter_text.reset();
    dbf_close(*table);
    table.reset();
}

int dbf_field_count(const DbfTable& table) { return table.field_count; }

int32_t dbf_record_count(const DbfTable& table) {
    if (table.filter_index) return static_cast<int32_t>(table.filter_index->size());
    return static_cast<int32_t>(table.header.record_count);
}

int dbf_wide_length(const FieldDesc& field) { return field.length + 256 * field.decimals; }

int dbf_field_width(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    return desc.type == 'C' ? dbf_wide_length(desc) : desc.length;
}

bool dbf_field_is_numeric(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'N': case 'F': case 'Y': case 'I': return true;
        case 'B': return desc.length == 8;
        default: return false;
    }
}

bool dbf_field_is_memo(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'M': case 'G': return true;
        case 'B': return dbf_wide_length(desc) == 10;
        default: return false;
    }
}

std::string dbf_field_name(const DbfTable& table, int field) {
    const char* name = table.fields[field].name;
    return std::string(name, strnlen(name, sizeof(table.fields[field].name)));
}

int dbf_find_field(const DbfTable& table, const char* name) {
    // Compared where the names stand: a table of a couple of thousand fields is
    // looked through once for each of its fields by a listing into another table.
    const size_t length = std::strlen(name);
    for (int i = 0; i < table.field_count; ++i) {
        const char* stored = table.fields[i].name;
        if (strnlen(stored, sizeof(table.fields[i].name)) == length && strncasecmp(stored, name, length) == 0)
            return i;
    }
    return -1;
}

std::vector<int32_t> dbf_parse_field_list(const DbfTable& table, const char* text) {
    std::vector<int32_t> indexes;
    std::string copy = text;
    char* save = nullptr;
    for (char* token = strtok_r(copy.data(), ";,", &save); token != nullptr;
         token = strtok_r(nullptr, ";,", &save)) {
        int index = dbf_find_field(table, token);
        if (index == -1) break;
        indexes.push_back(index);
        if (indexes.size() == kMaxKeyFields) break;
    }
    return indexes;
}

uint8_t* dbf_field_ptr(DbfTable& table, int field, int bytes) {
    const DbfTable& view = table;
    return const_cast<uint8_t*>(dbf_field_ptr(view, field, bytes));
}

const uint8_t* dbf_field_ptr(const DbfTable& table, int field, int bytes) {
    if (field < 0 || field >= kMaxFields || bytes < 0) return nullptr;
    int64_t start = table.fields[field].record_offset;
    if (table.record.size() < static_cast<size_t>(kRecordBufferSize) || start + bytes > kRecordBufferSize)
        return nullptr;
    return table.record.data() + start;
}
