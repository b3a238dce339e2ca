// table/dbf.h
//
// A .dbf file is: a 32-byte header, one 32-byte descriptor per field, the byte 0x0D,
// whatever else the header length covers, then the records, each `record_length`
// bytes, and one end-of-file byte 0x1A. Byte 0 of a record is its deletion mark:
// ' ' live, '*' deleted. All integers are little-endian.
//
// Little is trusted of what a file says: the record count comes from the file size,
// field offsets from the widths, and an unknown signature is repaired in memory.
// Every engine operation takes the table first, prints nothing and reports through
// its result: 1 for success and 0 for failure, or a count.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

static_assert(std::endian::native == std::endian::little,
              "headers and descriptors are read and written as verbatim little-endian images");

inline constexpr int kMaxFields = 2048;
inline constexpr int kDescriptorBytes = 65520;  // so a 2048th descriptor holds only its first 16 bytes
inline constexpr int kRecordBufferSize = 65535;
inline constexpr int kValueBufferSize = 65536;  // a 65535-byte field and its terminator
inline constexpr int kMaxKeyFields = 20;         // order keys and parsed field lists

inline constexpr uint32_t DBF_STATUS_BAD_SIGNATURE = 1;
inline constexpr uint32_t DBF_STATUS_BAD_FIELD_TYPES = 2;

// Memo family, derived from the signature.
enum MemoKind { MemoDbase3 = 0, MemoFoxPro = 1, MemoDbase4 = 2, MemoVisualFoxPro = 3, MemoUnknown = 4 };
enum DateMode { DateAsis = 0, DateDmy = 1, DateMdy = 2, DateYmd = 3 };
enum TrimMode { TrimNone = 0, TrimRight = 1, TrimLeft = 2, TrimAll = 3 };

struct DbfHeader {
    uint8_t signature;
    uint8_t update_year;   // years since 1900, folded below 256
    uint8_t update_month;  // 1 to 12
    uint8_t update_day;    // 1 to 31
    uint32_t record_count; // replaced at open by the count the file size gives
    uint16_t header_length;
    uint16_t record_length;
    uint8_t reserved1[16];
    uint8_t table_flags;    // structural-index flag
    uint8_t code_page_mark;
    uint8_t reserved2[2];
};
static_assert(sizeof(DbfHeader) == 32, "header is read and written as one block");

struct FieldDesc {
    char name[11];           // NUL-terminated unless all 11 bytes are used
    char type;               // one of "CNFDLMTGYBI0" or NUL for known types
    uint16_t record_offset;  // computed at open; saturates at 0xFFFF for fields past the buffer
    uint8_t reserved1[2];
    uint8_t length;
    uint8_t decimals;        // with `length`, the 16-bit wide length of a wide C field
    uint8_t reserved2[14];
};
static_assert(sizeof(FieldDesc) == 32, "descriptors are read and written as verbatim images");

struct CondScratch;
struct CondScratchDeleter {
    void operator()(CondScratch* scratch) const;
};

struct RecordCache;
struct RecordCacheDeleter {
    void operator()(RecordCache* cache) const;
};

using ConvertFn = void (*)(const char* source, char* destination);
using FoldFn = void (*)(char* text);
using ProgressFn = void (*)();

// The settings block: one unit, copied whole from the current table to the
// comparison table by /CMP.
struct DbfSettings {
    int32_t date_mode = DateAsis;
    int32_t memo_block_size = 128;
    int32_t ansi_text = 0;
    int32_t case_insensitive = 0;
    int32_t sort_descending = 0;
    int32_t list_fields = 0;
    int32_t trim_mode = TrimNone;
    int32_t hide_deleted = 0;
    ConvertFn oem_to_ansi = nullptr;  // null: the built-in table
    ConvertFn ansi_to_oem = nullptr;
    FoldFn fold_case = nullptr;       // null: the built-in folding
    ProgressFn sort_progress = nullptr;
};

struct DbfTable : DbfSettings {
    DbfTable() = default;
    DbfTable(const DbfTable&) = delete;
    DbfTable& operator=(const DbfTable&) = delete;
    ~DbfTable();  // closes the descriptors if they are still open

    int fd = 0;       // 0: closed
    int memo_fd = 0;  // open only during one memo operation
    uint32_t status = 0;
    std::string path;       // empty until the table knows its name
    std::string memo_path;  // set by dbf_bind_memo
    DbfHeader header{};
    std::array<FieldDesc, kMaxFields> fields{};

    uint16_t field_count = 0;
    int32_t first_memo_field = -1;
    uint8_t mark_byte = 0;
    std::vector<uint8_t> record;  // kRecordBufferSize bytes once the descriptors are accepted
    std::vector<char> value;      // kValueBufferSize bytes; the one place a rendered value lives
    std::optional<std::string> memo_text;  // memo parked for a comparison

    // Physical record numbers that pass the filter, in file order. No value: no filter.
    // The filter's count is its size.
    std::optional<std::vector<int32_t>> filter_index;
    std::unique_ptr<CondScratch, CondScratchDeleter> filter_scratch;
    std::optional<std::string> filter_text;

    int32_t order_key_count = 0;
    std::array<int32_t, kMaxKeyFields> order_keys{};
    // Filter positions in sorted order, one per visible record. No value: no order.
    std::optional<std::vector<int32_t>> order_index;

    int32_t sort_key_count = 0;
    const int32_t* sort_keys = nullptr;  // borrowed: order_keys or the list of /SORT:
    std::vector<char> sort_key_a, sort_key_b;
    int32_t sort_record_a = 0, sort_record_b = 0;

    int32_t use_index = 1;  // 0 while a routine walks physical records
    // Read-ahead of sequential record reads, kept coherent with every write to the file.
    std::unique_ptr<RecordCache, RecordCacheDeleter> read_cache;
    std::array<std::string, 4> date_format, datetime_format;  // by DateMode
};

// ---- Table files, header and field descriptors --------------------------------

void dbf_init(DbfTable& table);
void dbf_set_date_delimiter(DbfTable& table, char delimiter);
// Opens read-write, else read-only. The descriptor, or 0.
int dbf_open_file(const char* path);
int dbf_read_header(DbfTable& table);
int dbf_read_fields(DbfTable& table);
uint8_t dbf_field_blank_byte(const DbfTable& table, int field);
void dbf_field_blank(DbfTable& table, int field);
void dbf_blank_record(DbfTable& table);
std::string dbf_memo_file_name(const std::string& path, int kind);
// Cuts a path at its last '.': `name` gets everything before it, directories
// included, `extension` the rest from the dot on.
void dbf_split_path(const std::string& path, std::string& name, std::string& extension);
int dbf_bind_memo(DbfTable& table);
const char* dbf_memo_family_name(int kind);
// The whole opening sequence for a side table; null on the first failure.
std::unique_ptr<DbfTable> dbf_open(const char* path);
void dbf_close(DbfTable* table);
// Drops filter, order and filter text, closes, and releases the table.
void dbf_free(std::unique_ptr<DbfTable>& table);

int dbf_field_count(const DbfTable& table);
int32_t dbf_record_count(const DbfTable& table);
int dbf_wide_length(const FieldDesc& field);
int dbf_field_width(const DbfTable& table, int field);
int dbf_field_is_numeric(const DbfTable& table, int field);
int dbf_field_is_memo(const DbfTable& table, int field);
// The field's name, bounded by the 11 bytes of the descriptor.
std::string dbf_field_name(const DbfTable& table, int field);
int dbf_find_field(const DbfTable& table, const char* name);
// Fills up to 20 indexes. 0 for success, 1 if not even the first name was found.
int dbf_parse_field_list(const DbfTable& table, const char* text, int32_t& count,
                         std::array<int32_t, kMaxKeyFields>& indexes);
// `bytes` bytes at the field's place in the record buffer, or null if they would
// reach past it. Every field access goes through this.
uint8_t* dbf_field_ptr(DbfTable& table, int field, int bytes);
const uint8_t* dbf_field_ptr(const DbfTable& table, int field, int bytes);

// ---- Record access ------------------------------------------------------------
// Positions are visible positions: through order_index, then filter_index, to a
// physical record number, unless use_index is 0.

int32_t dbf_order_lookup(const DbfTable& table, int32_t position);
int32_t dbf_filter_lookup(const DbfTable& table, int32_t position);
// File offset of a visible record or of a physical one; -1 if it can't be had.
int64_t dbf_seek_record(const DbfTable& table, int32_t position);
int64_t dbf_seek_physical(const DbfTable& table, int64_t number);
int dbf_read_record(DbfTable& table, int32_t position);
int dbf_write_record(DbfTable& table, int32_t position);
int dbf_write_physical(DbfTable& table, int32_t number);
int dbf_read_mark(DbfTable& table, int32_t position);
int dbf_write_mark(DbfTable& table, int32_t position);
void dbf_delete_record(DbfTable& table, int32_t position);
void dbf_recall_record(DbfTable& table, int32_t position);
int dbf_append_record(DbfTable& table, int blank_first);
// Years since 1900 as the header's year byte: lowered by 100 while above 255.
uint8_t dbf_header_year(int years_since_1900);
// Stamps today's date, writes the header and the end mark behind the last record.
int dbf_write_header(DbfTable& table);

// ---- Reading field values -----------------------------------------------------
// Rendering overwrites the value buffer and returns it.

char* dbf_field_text(DbfTable& table, int field);
char* dbf_field_raw_text(DbfTable& table, int field);
double dbf_field_number(DbfTable& table, int field);
std::tm dbf_field_date(DbfTable& table, int field);
// mktime of the field's date; -1 for a date outside the signed 32-bit time_t range.
int64_t dbf_field_time(DbfTable& table, int field);
long dbf_field_atol(const DbfTable& table, int field);
double dbf_field_atof(const DbfTable& table, int field);
int32_t dbf_field_int(const DbfTable& table, int field);
double dbf_field_double(const DbfTable& table, int field);
double dbf_field_currency(const DbfTable& table, int field);
char* dbf_trim_value(DbfTable& table, int mode);
int dbf_display_width(const DbfTable& table, int field);
const char* dbf_type_name(const DbfTable& table, int field);
bool is_leap_year(int year);

// ---- Writing field values -----------------------------------------------------
// Stores go to the record buffer only (memo text goes to the memo file at once).
// What does not fit is not stored.

void dbf_field_set(DbfTable& table, int field, const char* text, double number);
void dbf_store_text(DbfTable& table, int field, const char* text);
void dbf_store_integer(DbfTable& table, int field, int32_t value);
void dbf_store_number(DbfTable& table, int field, double number);
void dbf_store_int(DbfTable& table, int field, int32_t value);
void dbf_store_double(DbfTable& table, int field, double number);
void dbf_store_currency(DbfTable& table, int field, double number);
void dbf_store_logical(DbfTable& table, int field, char letter);
int dbf_store_memo(DbfTable& table, int field, const char* text);
void dbf_store_date_text(DbfTable& table, int field, const char* text);
void dbf_store_datetime_text(DbfTable& table, int field, const char* text);
void dbf_store_datetime(DbfTable& table, int field, int year, int month, int day,
                        int hour, int minute, int second);

// ---- Memo files -----------------------------------------------------------------
// The memo file is opened for one operation and closed again.

// The memo's text, cut at its first NUL; no value if there is none or it can't be read.
std::optional<std::string> dbf_memo_read(DbfTable& table, int field);
// Appends a text; its block number, or 0 if nothing was stored.
int32_t dbf_memo_write(DbfTable& table, const char* text);
int32_t dbf_memo_block_size(DbfTable& table);
// Creates an empty memo file for the table at `path`. 1 if the whole header was written.
int dbf_create_memo(const std::string& path, int kind, int block_size);

// ---- Table creation and reorganisation -----------------------------------------

// New files get mode 0644, masked by the umask.
int dbf_create(const std::string& path, FieldDesc* fields, int count, int kind,
               int block_size, int make_memo);
void dbf_fill_field(FieldDesc& desc, const char* name, char type, uint16_t wide);
int dbf_truncate(DbfTable& table, int32_t count);
int dbf_zap(DbfTable& table);
// mode 0: records and memo, 1: records only, 2: memo only.
int dbf_pack(DbfTable& table, int mode);
