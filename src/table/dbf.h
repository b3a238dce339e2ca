// table/dbf.h
//
// A .dbf file is: a 32-byte header, one 32-byte descriptor per field, the byte 0x0D
// (0x0A from old shapefile writers), whatever else the header length covers, then
// the records, each `record_length` bytes, and one end-of-file byte 0x1A. Byte 0 of a record is its deletion mark:
// ' ' live, '*' deleted. All integers are little-endian.
//
// Little is trusted of what a file says: the record count comes from the file size,
// field offsets from the widths, and an unknown signature is repaired in memory, as
// is a record length that the widths and the file size both contradict.
// Every engine operation takes the table first, prints nothing and reports through
// its result.
//
// Records are named three ways, all counted from 0: the physical number in the
// file; the filter position, an index into `filter_index` (the physical numbers of
// the records that passed the filters); and the visible position, an index into
// `order_index` (filter positions in sorted order). Commands name visible positions.
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

#include "io/file_system.h"
#include "io/progress.h"

static_assert(std::endian::native == std::endian::little,
              "headers and descriptors are read and written as verbatim little-endian images");

inline constexpr int kMaxFields = 2048;
inline constexpr int kDescriptorBytes = 65520;  // so a 2048th descriptor holds only its first 16 bytes
inline constexpr int kRecordBufferSize = 65535;
inline constexpr int kValueBufferSize = 65536;  // a 65535-byte field and its terminator
inline constexpr int kMaxKeyFields = 20;         // order keys and parsed field lists

inline constexpr uint32_t DBF_STATUS_BAD_SIGNATURE = 1;
inline constexpr uint32_t DBF_STATUS_BAD_FIELD_TYPES = 2;
inline constexpr uint32_t DBF_STATUS_BAD_RECORD_LENGTH = 4;

// Memo family, derived from the signature.
enum class MemoKind { Dbase3, FoxPro, Dbase4, VisualFoxPro, Unknown };
// How dates are shown: as stored, or day, month and year in one of three orders.
enum class DateMode { Asis, Dmy, Mdy, Ymd };
// Which blanks a rendered value loses.
enum class TrimMode { None, Right, Left, All };
// What a rendering is for: a user's eyes, or an order's key (dates as stored digits).
enum class Rendering { Display, Key };
// What /PACK rewrites.
enum class PackMode { All, Records, Memo };
// What a memo file offers a new text: a sound place; no file (or a family whose
// layout is unknown), where texts are not stored, as always; a damaged header that
// names no free block within the file, or no block size, where nothing is written.
enum class MemoState { Sound, Missing, Damaged };

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

// The character sets of the settings file (text/codepage.h), owned by the run.
struct CharacterSets;

// A table's settings: one unit, copied whole from the current table to the
// comparison table by /CMP.
struct TableSettings {
    DateMode date_mode = DateMode::Asis;
    int32_t memo_block_size = 128;  // of the memo files /MAKE: creates
    bool ansi_text = false;
    bool case_insensitive = false;
    bool sort_descending = false;
    bool list_fields = false;
    TrimMode trim_mode = TrimMode::None;
    bool hide_deleted = false;
    const CharacterSets* conversion = nullptr;  // OEM/ANSI pairs; null: the built-in tables
    const CharacterSets* folding = nullptr;     // case pairs; null: the built-in folding
};

struct RecordCache;
struct RecordCacheDeleter {
    void operator()(RecordCache* cache) const;
};

// The table's memo file, open while the table uses it (table/memo.cpp).
struct MemoFile;
struct MemoFileDeleter {
    void operator()(MemoFile* memo) const;
};
using MemoFilePtr = std::unique_ptr<MemoFile, MemoFileDeleter>;

struct DbfTable {
    DbfTable() = default;
    DbfTable(const DbfTable&) = delete;
    DbfTable& operator=(const DbfTable&) = delete;

    File file;
    uint32_t status = 0;
    std::string path;       // empty until the table knows its name
    std::string memo_path;  // set by dbf_bind_memo
    DbfHeader header{};
    std::array<FieldDesc, kMaxFields> fields{};
    uint16_t field_count = 0;
    int32_t first_memo_field = -1;
    // The file holds more records than a position names (INT32_MAX): the table
    // reads as its first INT32_MAX records and is never rewritten as a whole, nor
    // given a header that would count fewer records than the file holds.
    bool partial = false;
    int64_t described_length = 1;  // 1 plus the field widths, worked out with the offsets
    // The file size the record count was last taken from, or that this table's own
    // changes left; a size that differs says another run changed the file.
    int64_t counted_size = -1;
    std::vector<uint8_t> record;  // kRecordBufferSize bytes once the descriptors are accepted
    std::vector<char> value;      // kValueBufferSize bytes; the one place a rendered value lives
    TableSettings settings;
    // printf formats of dates and date-times, by DateMode; /DATE:x puts x between the
    // numbers. Outside the settings block: a comparison table keeps its own.
    std::array<std::string, 4> date_format = {"%10s", "%02d.%02d.%04d", "%02d.%02d.%04d", "%04d.%02d.%02d"};
    std::array<std::string, 4> datetime_format = {"%14s", "%02d.%02d.%04d %02d:%02d:%02d",
                                                  "%02d.%02d.%04d %02d:%02d:%02d", "%04d.%02d.%02d %02d:%02d:%02d"};

    // The view. Physical record numbers that pass the filter, in file order; no
    // value: no filter. The filter's count is its size.
    std::optional<std::vector<int32_t>> filter_index;
    // Every condition given, "(old)&(new)"; only says whether a /FILTER: was given.
    std::optional<std::string> filter_text;
    // Filter positions in sorted order, one per visible record. No value: no order.
    std::optional<std::vector<int32_t>> order_index;

    // The read window over the records, kept coherent with every write to the file.
    std::unique_ptr<RecordCache, RecordCacheDeleter> read_cache;
    // The memo file once a memo was read or written; none until then.
    MemoFilePtr memo_file;
};

// ---- Table files, header and field descriptors --------------------------------

// Why a table could not be opened.
enum class OpenFailure { None, CantOpen, InvalidHeader, InvalidFields };

// Opens `path` into `table`, reads and judges header and descriptors and binds the
// memo file; the table's settings stay as they are.
[[nodiscard]] OpenFailure dbf_open_into(DbfTable& table, FileSystem& fs, const std::string& path);
// The same into a new table; null on the first failure, whose kind goes to `failure`.
std::unique_ptr<DbfTable> dbf_open(FileSystem& fs, const std::string& path, OpenFailure* failure = nullptr);
// Closes the file and releases the buffers; filter, order and settings stay.
void dbf_close(DbfTable& table);
// Drops filter, order and filter text, and closes.
void dbf_free(std::unique_ptr<DbfTable>& table);

// Reads the header image; false if it is too short or names impossible lengths.
[[nodiscard]] bool dbf_read_header(DbfTable& table);
// Reads the descriptors, computes offsets and the record count; false if they can't describe records.
[[nodiscard]] bool dbf_read_fields(DbfTable& table);
// 1 plus the widths of the fields: the record length the descriptors describe, as
// the last dbf_read_fields worked it out.
int64_t dbf_computed_record_length(const DbfTable& table);
// Counts the records again from the file's size, as the open did (another run may
// have changed the file); false if the size can't be had, which counts none.
bool dbf_refresh_count(DbfTable& table);
// Points every date format's two delimiters at `delimiter` ('.' for NUL).
void dbf_set_date_delimiter(DbfTable& table, char delimiter);
// The byte a blank field of this type is filled with.
uint8_t dbf_field_blank_byte(const DbfTable& table, int field);
// Fills the field in the record buffer with its blank byte.
void dbf_field_blank(DbfTable& table, int field);
// A live record of blank fields in the record buffer.
void dbf_blank_record(DbfTable& table);
// The memo family the table's signature names.
MemoKind dbf_memo_kind(const DbfTable& table);
// The table's path with the memo extension of `kind`.
std::string dbf_memo_file_name(const std::string& path, MemoKind kind);
// Cuts a path at its last '.': `name` gets everything before it, directories
// included, `extension` the rest from the dot on.
void dbf_split_path(const std::string& path, std::string& name, std::string& extension);
// Sets memo_path from the signature, and the memo family. Where that file does not
// exist, a table with memo fields takes a file whose name differs in case alone
// (dbf_find_memo_file).
MemoKind dbf_bind_memo(DbfTable& table);
// The existing memo file to read in place of `memo_path` when that does not exist:
// the name with the extension in the case of the table's, else a name of the
// directory that differs in case alone. No value if `memo_path` exists or none does.
std::optional<std::string> dbf_find_memo_file(const FileSystem& fs, const std::string& table_path,
                                              const std::string& memo_path);
// "dBase III", "FoxPro", "dBase IV", "Visual FoxPro" or "Unknown".
const char* dbf_memo_family_name(MemoKind kind);

// Fields the descriptors describe.
int dbf_field_count(const DbfTable& table);
// Visible records: the filter's count, else the file's.
int32_t dbf_record_count(const DbfTable& table);
// length + 256 x decimals.
int dbf_wide_length(const FieldDesc& field);
// Bytes the field takes in a record: the wide length for C, the length byte otherwise.
int dbf_field_width(const DbfTable& table, int field);
// N, F, Y, I and B of length 8: fields whose value is a number.
bool dbf_field_is_numeric(const DbfTable& table, int field);
// M, G and B of wide length 10: fields that name a memo block.
bool dbf_field_is_memo(const DbfTable& table, int field);
// The field's name, bounded by the 11 bytes of the descriptor.
std::string dbf_field_name(const DbfTable& table, int field);
// Index of the field of that name in any case, or -1.
int dbf_find_field(const DbfTable& table, const char* name);
// Fields named in a list separated by ';' or ',', up to the first unknown name and
// at most kMaxKeyFields; empty if not even the first name is known.
std::vector<int32_t> dbf_parse_field_list(const DbfTable& table, const char* text);
// `bytes` bytes at the field's place in the record buffer, or null if they would
// reach past it. Every field access goes through this.
uint8_t* dbf_field_ptr(DbfTable& table, int field, int bytes);
// The same, for reading.
const uint8_t* dbf_field_ptr(const DbfTable& table, int field, int bytes);

// ---- Record access ------------------------------------------------------------

// Filter position of a visible position, or -1.
int32_t dbf_order_lookup(const DbfTable& table, int32_t position);
// Physical number of a filter position, or -1.
int32_t dbf_filter_lookup(const DbfTable& table, int32_t position);
// File offset of a visible record or of a physical one; -1 if it can't be had.
int64_t dbf_seek_record(const DbfTable& table, int32_t position);
// File offset of a physical record; -1 for a negative number.
int64_t dbf_seek_physical(const DbfTable& table, int64_t number);
// Reads a visible record into the record buffer; false if it isn't all there.
[[nodiscard]] bool dbf_read_record(DbfTable& table, int32_t position);
// Reads a physical record into the record buffer; false if it isn't all there.
[[nodiscard]] bool dbf_read_physical(DbfTable& table, int32_t number);
// Writes the record buffer over a visible record; false if not all of it was written.
[[nodiscard]] bool dbf_write_record(DbfTable& table, int32_t position);
// Writes the record buffer over a physical record; false if not all of it was written.
[[nodiscard]] bool dbf_write_physical(DbfTable& table, int32_t number);
// Sets the deletion mark of a visible record; false if it could not be read or written.
bool dbf_delete_record(DbfTable& table, int32_t position);
// Clears the deletion mark of a visible record; false if it could not be read or written.
bool dbf_recall_record(DbfTable& table, int32_t position);
// True if the header's record length is the one the fields describe and its
// lengths put the record behind the last counted one no further than the end of
// the file. Otherwise nothing is appended or cut: a write past the end would leave a
// hole of any size, and records of another length than the count is taken with
// would multiply the count at the next open.
[[nodiscard]] bool dbf_append_fits(const DbfTable& table);
// Appends the record buffer (blanked first if asked) and counts it in the header;
// false, with the file as before, if either write fails or the append doesn't fit.
[[nodiscard]] bool dbf_append_record(DbfTable& table, bool blank_first);
// Years since 1900 as the header's year byte: lowered by 100 while above 255.
uint8_t dbf_header_year(int years_since_1900);
// Sets the header's date of last update to today, in local time.
void dbf_stamp_today(DbfHeader& header);
// Stamps today's date, writes the header and the end mark behind the last record
// (unless that place lies past the end of the file).
[[nodiscard]] bool dbf_write_header(DbfTable& table);
// Stamps today's date and writes the 32-byte header alone; true if all of it was
// written. A partial table's header is never written.
[[nodiscard]] bool dbf_write_header_image(DbfTable& table);
// Reads `count` bytes at `offset` of the table file through its read window (see
// io/read_window.h) into `out`; the bytes that arrived, or -1.
[[nodiscard]] int64_t dbf_read_bytes(DbfTable& table, void* out, size_t count, int64_t offset);
// Writes `count` bytes at `offset` of the table file, keeping the read window true;
// the bytes written, or -1.
[[nodiscard]] int64_t dbf_write_bytes(DbfTable& table, const void* data, size_t count, int64_t offset);
// Fetches the visible record `position` towards the processor if the read window
// holds it: a hint for a walk out of file order, given a few records ahead.
void dbf_prefetch_record(DbfTable& table, int32_t position);
// Sets the largest table file that a walk out of file order reads whole.
void dbf_set_whole_read_limit(DbfTable& table, size_t bytes);

// ---- Reading field values -----------------------------------------------------
// Rendering overwrites the value buffer and returns it.

// The field as text: numbers formatted, dates in the table's date mode (or as
// stored digits for a key), memos as "Full memo"/"Empty memo".
char* dbf_field_text(DbfTable& table, int field, Rendering how = Rendering::Display);
// The field's bytes, trimmed by the table's trim mode.
char* dbf_field_raw_text(DbfTable& table, int field);
// The value of a numeric field; 0 for other types.
double dbf_field_number(DbfTable& table, int field);
// The calendar fields of a D or T field, not normalised.
std::tm dbf_field_date(DbfTable& table, int field);
// True if the field's date can be shown: a text date's year is four digits, and
// its numbers, carried over as a calendar carries them (30 February is 2 March),
// name a moment of the years 1 to 9999. No time zone takes part.
bool dbf_field_date_shown(DbfTable& table, int field);
// atol of the field's first `length` bytes.
long dbf_field_atol(const DbfTable& table, int field);
// atof of the field's first `length` bytes.
double dbf_field_atof(const DbfTable& table, int field);
// The little-endian 32-bit integer of an I field; 0 where it can't be read.
int32_t dbf_field_int(const DbfTable& table, int field);
// The IEEE double of a B field; 0 where it can't be read.
double dbf_field_double(const DbfTable& table, int field);
// The 64-bit count of 1/10000 of a Y field, as a number; 0 where it can't be read.
double dbf_field_currency(const DbfTable& table, int field);
// Trims the value buffer in place.
char* dbf_trim_value(DbfTable& table, TrimMode mode);
// Width of the field's column in a listing.
int dbf_display_width(const DbfTable& table, int field);
// "Character", "Numeric", ... "Unknown".
const char* dbf_type_name(const DbfTable& table, int field);
// Gregorian leap years.
bool is_leap_year(int year);

// ---- Writing field values -----------------------------------------------------
// Stores go to the record buffer only (memo text goes to the memo file at once).
// What does not fit is not stored: the field keeps what it held, and the store
// says false.

// Stores by the field's type: `number` for numeric fields, `text` for the rest.
[[nodiscard]] bool dbf_field_set(DbfTable& table, int field, const char* text, double number);
// The text's bytes from the field's start, cut at its wide length.
bool dbf_store_text(DbfTable& table, int field, const char* text);
// A whole number, right-aligned in the field's length.
bool dbf_store_integer(DbfTable& table, int field, int32_t value);
// A number with the field's decimals, right-aligned; refused if the whole part doesn't fit.
bool dbf_store_number(DbfTable& table, int field, double number);
// A little-endian 32-bit integer into a field of at least 4 bytes.
bool dbf_store_int(DbfTable& table, int field, int32_t value);
// An IEEE double into a field of at least 8 bytes.
bool dbf_store_double(DbfTable& table, int field, double number);
// A count of 1/10000, truncated, into a field of at least 8 bytes.
bool dbf_store_currency(DbfTable& table, int field, double number);
// Y, N, T or F for those letters in any case, a blank for anything else.
bool dbf_store_logical(DbfTable& table, int field, char letter);
// Appends the text to the memo file and stores its block number.
bool dbf_store_memo(DbfTable& table, int field, const char* text);
// A date typed in the table's date mode.
bool dbf_store_date_text(DbfTable& table, int field, const char* text);
// A date-time typed in the table's date mode.
bool dbf_store_datetime_text(DbfTable& table, int field, const char* text);
// A calendar date-time as digits, or as a day number and milliseconds in an 8-byte T.
bool dbf_store_datetime(DbfTable& table, int field, int year, int month, int day, int hour, int minute,
                        int second);

// ---- Memo files -----------------------------------------------------------------
// The memo file is opened at its first use and stays open, with a read window and
// what its header says, until the table is closed or its memo file is let go.

// The memo's text, cut at its first NUL; no value if there is none or it can't be read.
std::optional<std::string> dbf_memo_read(DbfTable& table, int field);
// The same, whole: NUL bytes included (binary memos of General fields).
std::optional<std::string> dbf_memo_read_bytes(DbfTable& table, int field);
// Appends a text; its block number, or 0 if nothing was stored.
int32_t dbf_memo_write(DbfTable& table, const char* text);
// The same for bytes that may hold NULs.
int32_t dbf_memo_write_bytes(DbfTable& table, const std::string& bytes);
// Whether a new text can be appended to the memo file; see MemoState.
MemoState dbf_memo_state(DbfTable& table);
// The memo file's block size; 0 if it can't be opened or the family is unknown.
int32_t dbf_memo_block_size(DbfTable& table);
// Texts appended from now on wait in memory until dbf_memo_flush, for a record
// writer that flushes them before every block of records; calls nest.
void dbf_memo_begin_gathering(DbfTable& table);
// Flushes and ends one dbf_memo_begin_gathering; false as dbf_memo_flush.
[[nodiscard]] bool dbf_memo_end_gathering(DbfTable& table);
// Writes the waiting texts in one write, then the header naming the next free
// block; false if the texts could not be written (no record may name them then).
[[nodiscard]] bool dbf_memo_flush(DbfTable& table);
// Bytes of text waiting.
size_t dbf_memo_waiting(const DbfTable& table);
// Closes the memo file, dropping waiting texts; the next use opens it again.
void dbf_memo_release(DbfTable& table);
// A memo file of the table's family at `path`, other than the table's own (a
// rebuild writes one), opened at its first use; its texts always wait.
MemoFilePtr dbf_memo_attach(const DbfTable& table, const std::string& path);
// Appends bytes as one memo to such a file; its block number, or 0.
int32_t dbf_memo_append(MemoFile& memo, const std::string& bytes);
// Bytes of text waiting in a memo file.
size_t dbf_memo_waiting(const MemoFile& memo);
// dbf_memo_flush for a memo file.
[[nodiscard]] bool dbf_memo_flush(MemoFile& memo);
// Creates an empty memo file for the table at `path`. True if the whole header was written.
bool dbf_create_memo(FileSystem& fs, const std::string& path, MemoKind kind, int block_size);

// ---- Table creation and reorganisation -----------------------------------------

// Creates (or empties) a table at `path` with these fields, brought to the widths
// the family stores; the memo file too if asked and a field needs one. New files
// get mode 0644, masked by the umask. True if the whole table was written.
[[nodiscard]] bool dbf_create(FileSystem& fs, const std::string& path, FieldDesc* fields, int count, MemoKind kind,
                              int block_size, bool make_memo);
// A descriptor with this name, type and wide length, the rest zero.
void dbf_fill_field(FieldDesc& desc, const char* name, char type, uint16_t wide);
// Cuts the table to `count` records or extends it with records of zero bytes;
// false, with nothing changed, where dbf_append_fits does not hold.
[[nodiscard]] bool dbf_truncate(DbfTable& table, int32_t count);
// Takes every record off.
[[nodiscard]] bool dbf_zap(DbfTable& table);
// Closes the gaps of deleted records, rebuilds the memo file, or both, through a
// copy put in place only when complete; false with the table as it was. A partial
// table is refused. Each stage reports its records to `progress` when given one.
[[nodiscard]] bool dbf_pack(DbfTable& table, PackMode mode, Progress* progress = nullptr);
// Takes the last steps of a pack of `path` that a killed run left half-way (see
// table/pack.cpp), under the table's lock; true if none was left or it is done now.
bool dbf_finish_pack(FileSystem& fs, const std::string& path);
