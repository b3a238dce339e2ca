// table/record.cpp
//
// Whole records between the file and the record buffer, and the header write.
// Commands name records by visible position; order_index maps a visible position
// to a filter position and filter_index a filter position to a physical number.
// Record n of the file starts at header_length + n * record_length.
#include <cstring>

#include "table/dbf.h"
#include "table/file_io.h"

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
    int32_t number = position;
    if (table.use_index) {
        int32_t filter_position = dbf_order_lookup(table, position);
        number = filter_position < 0 ? -1 : dbf_filter_lookup(table, filter_position);
    }
    return dbf_seek_physical(table, number);
}

namespace {

int read_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return 0;
    size_t length = table.header.record_length;
    return file_read_at(table.fd, table.record.data(), length, offset) == static_cast<int64_t>(length);
}

int write_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return 0;
    size_t length = table.header.record_length;
    return file_write_at(table.fd, table.record.data(), length, offset) == static_cast<int64_t>(length);
}

}  // namespace

int dbf_read_record(DbfTable& table, int32_t position) {
    return read_at(table, dbf_seek_record(table, position));
}

int dbf_write_record(DbfTable& table, int32_t position) {
    return write_at(table, dbf_seek_record(table, position));
}

int dbf_write_physical(DbfTable& table, int32_t number) {
    return write_at(table, dbf_seek_physical(table, number));
}

int dbf_read_mark(DbfTable& table, int32_t position) {
    int64_t offset = dbf_seek_record(table, position);
    return offset >= 0 && file_read_at(table.fd, &table.mark_byte, 1, offset) == 1;
}

int dbf_write_mark(DbfTable& table, int32_t position) {
    int64_t offset = dbf_seek_record(table, position);
    return offset >= 0 && file_write_at(table.fd, &table.mark_byte, 1, offset) == 1;
}

namespace {

void set_mark(DbfTable& table, int32_t position, uint8_t mark) {
    if (!dbf_read_mark(table, position)) return;
    if (table.mark_byte == mark) return;
    table.mark_byte = mark;
    dbf_write_mark(table, position);
}

}  // namespace

void dbf_delete_record(DbfTable& table, int32_t position) { set_mark(table, position, '*'); }

void dbf_recall_record(DbfTable& table, int32_t position) { set_mark(table, position, ' '); }

int dbf_append_record(DbfTable& table, int blank_first) {
    if (blank_first) dbf_blank_record(table);
    int32_t physical = static_cast<int32_t>(table.header.record_count);
    if (physical == INT32_MAX) return 0;
    int32_t visible = dbf_record_count(table);
    if (!dbf_write_physical(table, physical)) return 0;
    // The new record is always visible: it joins a filter without being judged and
    // stands last in an order without being sorted in.
    if (table.order_index) table.order_index->push_back(visible);
    if (table.filter_index) table.filter_index->push_back(physical);
    table.header.record_count = static_cast<uint32_t>(physical) + 1;
    return dbf_write_header(table);
}

uint8_t dbf_header_year(int years_since_1900) {
    while (years_since_1900 > 255) years_since_1900 -= 100;
    return static_cast<uint8_t>(years_since_1900);
}

int dbf_write_header(DbfTable& table) {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    table.header.update_year = dbf_header_year(local.tm_year);
    table.header.update_month = static_cast<uint8_t>(local.tm_mon + 1);
    table.header.update_day = static_cast<uint8_t>(local.tm_mday);
    int written = file_write_at(table.fd, &table.header, sizeof(DbfHeader), 0) ==
                  static_cast<int64_t>(sizeof(DbfHeader));
    int64_t end = dbf_seek_physical(table, table.header.record_count);
    if (end >= 0) {
        const uint8_t eof_mark = 0x1A;
        file_write_at(table.fd, &eof_mark, 1, end);
    }
    return written;
}
