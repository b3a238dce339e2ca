// table/record_writer.cpp
#include "table/record_writer.h"

#include <algorithm>
#include <cstring>

// ---- RecordAppender -------------------------------------------------------------------

RecordAppender::RecordAppender(DbfTable& table, size_t block_bytes)
    : table_(table), block_bytes_(std::max<size_t>(block_bytes, 1)) {
    dbf_memo_begin_gathering(table_);
}

RecordAppender::~RecordAppender() { (void)finish(); }

bool RecordAppender::add() {
    if (failed_ || !gathering_memos_) return false;
    const size_t length = table_.header.record_length;
    if (table_.record.size() < length || !table_.file.is_open()) return false;
    // Physical numbers stay below INT32_MAX, as every record name does.
    if (static_cast<uint64_t>(table_.header.record_count) + gathered_ >= INT32_MAX) return false;
    if (block_.empty()) block_.reserve(std::min(block_bytes_, length * size_t{1024}) + length + 1);
    block_.insert(block_.end(), table_.record.begin(), table_.record.begin() + static_cast<std::ptrdiff_t>(length));
    ++gathered_;
    if (block_.size() >= block_bytes_ || dbf_memo_waiting(table_) >= block_bytes_) return write_block();
    return true;
}

bool RecordAppender::write_block() {
    if (gathered_ == 0) return !failed_;
    const uint32_t count = table_.header.record_count;
    const uint32_t added = gathered_;
    const int64_t offset = dbf_seek_physical(table_, count);
    // Records go only right behind the last one: never past the end of the file,
    // nor with a length the fields don't describe.
    if (!dbf_append_fits(table_)) {
        block_.clear();
        gathered_ = 0;
        failed_ = true;
        return false;
    }
    block_.push_back(0x1A);  // the end mark behind the last record
    bool written = dbf_memo_flush(table_) &&
                   dbf_write_bytes(table_, block_.data(), block_.size(), offset) == static_cast<int64_t>(block_.size());
    block_.clear();
    gathered_ = 0;
    if (!written) {
        failed_ = true;
        // A write that stopped half-way may have left whole records behind the counted
        // ones; they go, so that the file holds what the header counts.
        int64_t size = table_.file.size();
        const int64_t record_length = table_.header.record_length;
        if (size > offset && (size - offset) >= record_length) (void)table_.file.truncate(offset);
        return false;
    }
    table_.header.record_count = count + added;
    if (!dbf_write_header_image(table_)) {
        // The header still counts the old records: take the new ones off again.
        table_.header.record_count = count;
        (void)table_.file.truncate(offset);  // nothing more to do if it fails
        failed_ = true;
        return false;
    }
    // New records are always visible: they join a filter without being judged and
    // stand last in an order without being sorted in.
    const int32_t visible = table_.filter_index ? static_cast<int32_t>(table_.filter_index->size())
                                                : static_cast<int32_t>(count);
    for (uint32_t i = 0; i < added; ++i) {
        if (table_.order_index) table_.order_index->push_back(visible + static_cast<int32_t>(i));
        if (table_.filter_index) table_.filter_index->push_back(static_cast<int32_t>(count + i));
    }
    return true;
}

bool RecordAppender::finish() {
    if (!gathering_memos_) return !failed_;
    bool written = write_block();
    gathering_memos_ = false;
    bool flushed = dbf_memo_end_gathering(table_);
    return written && flushed && !failed_;
}

// ---- RecordUpdater ----------------------------------------------------------------------

namespace {

// The physical number of a visible position, or -1.
int64_t physical_of(const DbfTable& table, int32_t position) {
    int32_t filter_position = dbf_order_lookup(table, position);
    return filter_position < 0 ? -1 : dbf_filter_lookup(table, filter_position);
}

}  // namespace

RecordUpdater::RecordUpdater(DbfTable& table, size_t block_bytes)
    : table_(table), block_bytes_(std::max<size_t>(block_bytes, 1)) {
    dbf_memo_begin_gathering(table_);
}

RecordUpdater::~RecordUpdater() { (void)finish(); }

uint8_t* RecordUpdater::in_run(int64_t number) {
    if (count_ == 0 || number < first_ || number >= first_ + static_cast<int64_t>(count_)) return nullptr;
    return run_.data() + static_cast<size_t>(number - first_) * table_.header.record_length;
}

bool RecordUpdater::read(int32_t position) {
    const int64_t number = physical_of(table_, position);
    const size_t length = table_.header.record_length;
    if (number < 0 || table_.record.size() < length) return false;
    if (const uint8_t* record = in_run(number)) {
        std::memcpy(table_.record.data(), record, length);
        return true;
    }
    return dbf_read_bytes(table_, table_.record.data(), length, dbf_seek_physical(table_, number)) ==
           static_cast<int64_t>(length);
}

bool RecordUpdater::write(int32_t position) { return write_physical(physical_of(table_, position)); }

bool RecordUpdater::write_physical(int64_t number) {
    if (number < 0 || table_.record.size() < table_.header.record_length) return false;
    return stage(number, table_.record.data(), true);
}

bool RecordUpdater::mark(int32_t position, uint8_t mark) {
    const int64_t number = physical_of(table_, position);
    const size_t length = table_.header.record_length;
    if (number < 0) return false;
    if (uint8_t* record = in_run(number)) {
        if (record[0] != mark) {
            record[0] = mark;
            changed_at(number);
        }
        return true;
    }
    scratch_.resize(length);
    if (dbf_read_bytes(table_, scratch_.data(), length, dbf_seek_physical(table_, number)) !=
        static_cast<int64_t>(length))
        return false;
    const bool changed = scratch_[0] != mark;
    scratch_[0] = mark;
    return stage(number, scratch_.data(), changed);
}

bool RecordUpdater::stage(int64_t number, const uint8_t* record, bool changed) {
    const size_t length = table_.header.record_length;
    if (uint8_t* copy = in_run(number)) {
        std::memcpy(copy, record, length);
        if (changed) changed_at(number);
        return true;
    }
    bool result = true;
    const bool adjacent = count_ > 0 && number == first_ + static_cast<int64_t>(count_);
    if (!adjacent) {
        // A record that changes nothing opens no run.
        if (!changed) return true;
        result = write_run();
        first_ = number;
    }
    run_.insert(run_.end(), record, record + length);
    ++count_;
    unchanged_tail_ = changed ? 0 : unchanged_tail_ + 1;
    if (run_.size() >= block_bytes_ || dbf_memo_waiting(table_) >= block_bytes_) result = write_run() && result;
    return result;
}

void RecordUpdater::changed_at(int64_t number) {
    // The records behind it may still have changed nothing.
    const size_t behind = static_cast<size_t>(first_ + static_cast<int64_t>(count_) - 1 - number);
    unchanged_tail_ = std::min(unchanged_tail_, behind);
}

bool RecordUpdater::write_run() {
    const size_t length = table_.header.record_length;
    const size_t written_count = count_ - unchanged_tail_;
    const int64_t first = first_;
    const size_t bytes = written_count * length;
    bool written = true;
    if (written_count > 0) {
        written = dbf_memo_flush(table_) &&
                  dbf_write_bytes(table_, run_.data(), bytes, dbf_seek_physical(table_, first)) ==
                      static_cast<int64_t>(bytes);
    }
    run_.clear();
    count_ = 0;
    unchanged_tail_ = 0;
    first_ = -1;
    return written;
}

bool RecordUpdater::finish() {
    if (!gathering_memos_) return true;
    bool written = write_run();
    gathering_memos_ = false;
    return dbf_memo_end_gathering(table_) && written;
}
