// table/record.cpp
//
// Whole records between the file and the record buffer, and the header write.
// Commands name records by visible position; order_index maps a visible position
// to a filter position and filter_index a filter position to a physical number.
// Record n of the file starts at header_length + n * record_length.
#include <algorithm>
#include <cstring>

#include "table/dbf.h"

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

// A window of the file behind a sequential walk. A read that continues where the
// last one ended fills it with one read, twice as large as the one before, up to
// 256 KiB; a read elsewhere (a sort, an order) goes to the file alone and starts
// the growth anew, so short runs, such as a sort's partition scans, stay cheap. Writes through this table patch the window; writes
// from anywhere else mark it stale through its watch.
struct RecordCache {
    FileSystem* fs = nullptr;  // the one the watch is registered with
    FileWatch watch;
    std::vector<uint8_t> bytes;
    int64_t start = -1;     // file offset of bytes[0]; -1 while empty
    size_t length = 0;      // valid bytes
    int64_t next_read = -1; // where a read continuing the last one would start
    size_t window = 0;      // size of the next fill
};

void RecordCacheDeleter::operator()(RecordCache* cache) const {
    if (cache->fs != nullptr) cache->fs->unwatch(cache->watch);
    delete cache;
}

namespace {

constexpr size_t kFirstWindow = 4 * 1024;
constexpr size_t kReadWindow = 256 * 1024;

RecordCache& cache_of(DbfTable& table) {
    if (!table.read_cache) table.read_cache.reset(new RecordCache);
    return *table.read_cache;
}

bool cache_valid(const RecordCache& cache) { return cache.start >= 0 && !cache.watch.stale; }

// Reads `length` bytes at `offset` into the record buffer through the window.
int64_t cached_read(DbfTable& table, int64_t offset, size_t length) {
    RecordCache& cache = cache_of(table);
    bool sequential = offset == cache.next_read;
    cache.next_read = offset + static_cast<int64_t>(length);
    if (cache_valid(cache) && offset >= cache.start &&
        offset + static_cast<int64_t>(length) <= cache.start + static_cast<int64_t>(cache.length)) {
        std::memcpy(table.record.data(), cache.bytes.data() + (offset - cache.start), length);
        return static_cast<int64_t>(length);
    }
    if (!sequential) {
        cache.window = kFirstWindow;
        return table.file.read_at(table.record.data(), length, offset);
    }
    if (!cache.watch.registered) {
        cache.fs = &table.file.fs();
        if (!cache.fs->watch(cache.watch, table.file.fd())) return table.file.read_at(table.record.data(), length, offset);
    }
    size_t fill = std::max({cache.window, kFirstWindow, length});
    cache.window = std::min(fill * 2, kReadWindow);
    if (cache.bytes.size() < fill) cache.bytes.resize(fill);
    cache.watch.stale = false;
    int64_t got = table.file.read_at(cache.bytes.data(), fill, offset);
    if (got < 0) {
        cache.start = -1;
        return got;
    }
    cache.start = offset;
    cache.length = static_cast<size_t>(got);
    size_t copied = std::min(length, cache.length);
    std::memcpy(table.record.data(), cache.bytes.data(), copied);
    return static_cast<int64_t>(copied);
}

// Writes through this table keep its own window true.
int64_t cached_write(DbfTable& table, const void* data, size_t length, int64_t offset) {
    RecordCache* cache = table.read_cache.get();
    bool was_valid = cache != nullptr && cache_valid(*cache);
    int64_t written = table.file.write_at(data, length, offset);
    if (!was_valid) return written;
    if (written != static_cast<int64_t>(length)) {
        cache->start = -1;
        return written;
    }
    int64_t from = std::max(offset, cache->start);
    int64_t to = std::min(offset + static_cast<int64_t>(length), cache->start + static_cast<int64_t>(cache->length));
    if (from < to)
        std::memcpy(cache->bytes.data() + (from - cache->start), static_cast<const uint8_t*>(data) + (from - offset),
                    static_cast<size_t>(to - from));
    cache->watch.stale = false;
    return written;
}

bool read_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return false;
    size_t length = table.header.record_length;
    return cached_read(table, offset, length) == static_cast<int64_t>(length);
}

bool write_at(DbfTable& table, int64_t offset) {
    if (offset < 0 || table.record.empty()) return false;
    size_t length = table.header.record_length;
    return cached_write(table, table.record.data(), length, offset) == static_cast<int64_t>(length);
}

}  // namespace

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
    if (offset < 0 || table.file.read_at(&stored, 1, offset) != 1) return false;
    if (stored == mark) return true;
    return cached_write(table, &mark, 1, offset) == 1;
}

}  // namespace

bool dbf_delete_record(DbfTable& table, int32_t position) { return set_mark(table, position, '*'); }

bool dbf_recall_record(DbfTable& table, int32_t position) { return set_mark(table, position, ' '); }

namespace {

// Stamps the date and writes the header; the end mark too where `mark_fits` says
// its place lies within the file or right at its end.
bool write_header(DbfTable& table, bool mark_fits) {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    table.header.update_year = dbf_header_year(local.tm_year);
    table.header.update_month = static_cast<uint8_t>(local.tm_mon + 1);
    table.header.update_day = static_cast<uint8_t>(local.tm_mday);
    bool written = cached_write(table, &table.header, sizeof(DbfHeader), 0) ==
                   static_cast<int64_t>(sizeof(DbfHeader));
    // The end mark only behind a header that counts the records it follows.
    int64_t end = written && mark_fits ? dbf_seek_physical(table, table.header.record_count) : -1;
    if (end >= 0) {
        const uint8_t eof_mark = 0x1A;
        (void)cached_write(table, &eof_mark, 1, end);  // readers don't need it: the file size counts
    }
    return written;
}

}  // namespace

bool dbf_append_fits(const DbfTable& table) {
    if (table.header.record_length != dbf_computed_record_length(table)) return false;
    int64_t size = table.file.size();
    int64_t next = dbf_seek_physical(table, table.header.record_count);
    return size >= 0 && next >= 0 && next <= size;
}

bool dbf_append_record(DbfTable& table, bool blank_first) {
    if (blank_first) dbf_blank_record(table);
    int32_t physical = static_cast<int32_t>(table.header.record_count);
    if (physical == INT32_MAX || !dbf_append_fits(table)) return false;
    int32_t visible = dbf_record_count(table);
    if (!dbf_write_physical(table, physical)) return false;
    table.header.record_count = static_cast<uint32_t>(physical) + 1;
    if (!write_header(table, true)) {
        // The header still counts the old records: take the new one off again, so
        // that the header and the file agree.
        table.header.record_count = static_cast<uint32_t>(physical);
        (void)table.file.truncate(dbf_seek_physical(table, physical));  // nothing more to do if it fails
        return false;
    }
    // The new record is always visible: it joins a filter without being judged and
    // stands last in an order without being sorted in.
    if (table.order_index) table.order_index->push_back(visible);
    if (table.filter_index) table.filter_index->push_back(physical);
    return true;
}

uint8_t dbf_header_year(int years_since_1900) {
    while (years_since_1900 > 255) years_since_1900 -= 100;
    return static_cast<uint8_t>(years_since_1900);
}

bool dbf_write_header(DbfTable& table) { return write_header(table, dbf_append_fits(table)); }
