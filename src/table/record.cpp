// table/record.cpp
//
// Whole records between the file and the record buffer, and the header write.
// Commands name records by visible position; order_index maps a visible position
// to a filter position and filter_index a filter position to a physical number.
// Record n of the file starts at header_length + n * record_length.
#include <algorithm>
#include <cstring>

#include "io/read_window.h"
#include "table/dbf.h"
#include "table/record_writer.h"

int32_t dbf_order_lookup(const DbfTable& table, int32_t position) {
    if (!table.order_index) return position;
    const std::vector<int32_t>& index = *table.order_index;
    if (position < 0 || static_cast<size_t>(position) >= index.size()) return -1;
    return index[static_cast<size_t>(position)];
}

int32_t dbf_filter_lookup(const DbfTable& table, int32_t position) {
    if (!table.filter_index) return position;
    const std::vector<int32_t>& index = *table.filter_index;
    if (position < 0 || static_cast<size_t>(position) >= index.size()) return -1;
    return index[static_cast<size_t>(position)];
}

int64_t dbf_seek_physical(const DbfTable& table, int64_t number) {
    if (number < 0) return -1;
    return static_cast<int64_t>(table.header.header_length) +
           static_cast<int64_t>(table.header.record_length) * number;
}

int64_t dbf_seek_record(const DbfTable& table, int32_t position) {
    int32_t filter_position = dbf_order_lookup(table, position);
    int32_t number = filter_position < 0 ? -1 : dbf_filter_lookup(table, filter_position);
    return dbf_seek_physical(table, number);
}

// The read window over the table file: see io/read_window.h.
struct RecordCache {
    ReadWindow window;
};

void RecordCacheDeleter::operator()(RecordCache* cache) const { delete cache; }

namespace {

ReadWindow& window_of(DbfTable& table) {
    if (!table.read_cache) table.read_cache.reset(new RecordCache);
    return table.read_cache->window;
}

bool read_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return false;
    size_t length = table.header.record_length;
    return dbf_read_bytes(table, table.record.data(), length, offset) == static_cast<int64_t>(length);
}

// A record written alone: the memo texts it may name go first.
bool write_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return false;
    if (!dbf_memo_flush(table)) return false;
    size_t length = table.header.record_length;
    return dbf_write_bytes(table, table.record.data(), length, offset) == static_cast<int64_t>(length);
}

}  // namespace

int64_t dbf_read_bytes(DbfTable& table, void* out, size_t count, int64_t offset) {
    if (!table.file.is_open()) return -1;
    return window_of(table).read(table.file, out, count, offset);
}

int64_t dbf_write_bytes(DbfTable& table, const void* data, size_t count, int64_t offset) {
    if (!table.file.is_open()) return -1;
    return window_of(table).write(table.file, data, count, offset);
}

void dbf_set_whole_read_limit(DbfTable& table, size_t bytes) { window_of(table).set_whole_limit(bytes); }

void dbf_prefetch_record(DbfTable& table, int32_t position) {
    if (!table.read_cache || !table.order_index) return;  // in file order the window reads ahead
    const int64_t offset = dbf_seek_record(table, position);
    if (offset >= 0) table.read_cache->window.prefetch(offset);
}

bool dbf_read_record(DbfTable& table, int32_t position) {
    return read_at(table, dbf_seek_record(table, position));
}

bool dbf_read_physical(DbfTable& table, int32_t number) {
    return read_at(table, dbf_seek_physical(table, number));
}

bool dbf_write_record(DbfTable& table, int32_t position) {
    return write_at(table, dbf_seek_record(table, position));
}

bool dbf_write_physical(DbfTable& table, int32_t number) {
    return write_at(table, dbf_seek_physical(table, number));
}

namespace {

// Sets a record's deletion mark unless it holds that mark already.
bool set_mark(DbfTable& table, int32_t position, uint8_t mark) {
    int64_t offset = dbf_seek_record(table, position);
    uint8_t stored = 0;
    if (offset < 0 || dbf_read_bytes(table, &stored, 1, offset) != 1) return false;
    if (stored == mark) return true;
    return dbf_write_bytes(table, &mark, 1, offset) == 1;
}

}  // namespace

bool dbf_delete_record(DbfTable& table, int32_t position) { return set_mark(table, position, '*'); }

bool dbf_recall_record(DbfTable& table, int32_t position) { return set_mark(table, position, ' '); }

bool dbf_append_fits(const DbfTable& table) {
    // A record length read from the fields rather than the header is not yet the
    // file's: records go behind the others only once /CHECK has written it.
    if (table.status & DBF_STATUS_BAD_RECORD_LENGTH) return false;
    if (table.header.record_length != dbf_computed_record_length(table)) return false;
    int64_t size = table.file.size();
    int64_t next = dbf_seek_physical(table, table.header.record_count);
    return size >= 0 && next >= 0 && next <= size;
}

bool dbf_append_record(DbfTable& table, bool blank_first) {
    if (blank_first) dbf_blank_record(table);
    RecordAppender appender(table);
    return appender.add() && appender.finish();
}

uint8_t dbf_header_year(int years_since_1900) {
    while (years_since_1900 > 255) years_since_1900 -= 100;
    return static_cast<uint8_t>(years_since_1900);
}

void dbf_stamp_today(DbfHeader& header) {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    header.update_year = dbf_header_year(local.tm_year);
    header.update_month = static_cast<uint8_t>(local.tm_mon + 1);
    header.update_day = static_cast<uint8_t>(local.tm_mday);
}

bool dbf_write_header_image(DbfTable& table) {
    if (table.partial) return false;
    dbf_stamp_today(table.header);
    return dbf_write_bytes(table, &table.header, sizeof(DbfHeader), 0) == static_cast<int64_t>(sizeof(DbfHeader));
}

bool dbf_write_header(DbfTable& table) {
    if (!dbf_write_header_image(table)) return false;
    // The end mark only behind a header that counts the records it follows, and
    // only where its place lies within the file or right at its end.
    if (!dbf_append_fits(table)) return true;
    int64_t end = dbf_seek_physical(table, table.header.record_count);
    const uint8_t eof_mark = 0x1A;
    (void)dbf_write_bytes(table, &eof_mark, 1, end);  // readers don't need it: the file size counts
    return true;
}
