// select/order.cpp
//
// An order is an array of filter positions, one per visible record, sorted by text
// keys. A record's key is the rendering of each key field, padded back to the
// field's width, with negative numbers complemented so that a plain unsigned byte
// comparison orders text, dates and numbers alike; behind the fields stands the
// record's element number in "%10d", so that no two keys are equal (select/sort.h
// keeps the number beside the text).
//
// One walk through the visible records builds every key and hands it to the sort,
// which holds what fits the key memory limit and puts the rest in run files beside
// the table (select/merge.h). Records are read once, in file order, whatever the
// size of the table.
#include "select/order.h"

#include <cstdint>
#include <cstring>

#include "text/codepage.h"

namespace {

// The key text and its "%10d" element number, with the terminator, fit this buffer.
constexpr size_t kSortKeyBufferSize = 65536;
constexpr size_t kKeyNumberWidth = 10;
static_assert(kSortKeyBufferSize - kKeyNumberWidth - 1 == kMaxKeyText, "a key text fits a run's records");

// Bytes of a rendered number turned so that negative numbers sort below positive
// ones and larger magnitudes below smaller: digits become 10 down to 1, blanks and
// the minus sign count as "0", the point stays.
void complement_number(char* text, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '.') continue;
        if (c == ' ' || c == '-') c = '0';
        text[i] = static_cast<char>(static_cast<unsigned char>(58 - c));
    }
}

// The text of the key of the record in the buffer, folded, in `key`; its length.
size_t render_key_text(DbfTable& table, const std::vector<int32_t>& keys, char* key) {
    dbf_build_key(table, keys, key, kSortKeyBufferSize - kKeyNumberWidth);
    fold_value(key, table);
    return std::strlen(key);
}

// Collects the elements of an order.
class IndexSink : public SortSink {
  public:
    explicit IndexSink(std::vector<int32_t>& index) : index_(index) {}
    bool take(int32_t element, const uint8_t*) override {
        index_.push_back(element);
        return true;
    }

  private:
    std::vector<int32_t>& index_;
};

// Sorts the visible records by `keys` into `sink`, carrying each record's bytes
// along if `carry_records`.
SortOutcome sort_visible(DbfTable& table, const std::vector<int32_t>& keys, const SortSettings& settings,
                         bool carry_records, SortSink& sink) {
    const size_t count = static_cast<size_t>(dbf_record_count(table));
    SortOptions options;
    options.memory_limit = settings.key_memory_limit;
    options.payload_size = carry_records ? table.header.record_length : 0;
    options.descending = table.settings.sort_descending;
    // An order can always be held in memory; a copy of every record can't.
    options.memory_when_disk_fails = !carry_records;
    options.file_stem = table.path;
    options.progress = settings.progress;
    // A table always comes with its file; one without it sorts through the
    // process's directory.
    FileSystem process_directory;
    FileSystem& fs = table.file.is_open() ? table.file.fs() : process_directory;
    KeySorter sorter(fs, options);
    std::vector<char> buffer(kSortKeyBufferSize, '\0');
    char* key = buffer.data();
    if (settings.progress != nullptr) settings.progress->stage("reading", count);
    for (size_t i = 0; i < count; ++i) {
        int32_t element = static_cast<int32_t>(i);
        // A key is built from the buffer as it stands when its record can't be read;
        // a copy of the record can't be.
        if (!dbf_read_record(table, element) && carry_records) return {SortFailure::CantRead, table.path};
        size_t length = render_key_text(table, keys, key);
        if (!sorter.add(key, length, element, table.record.data(), count - i)) break;
        if (settings.progress != nullptr) settings.progress->advance(i + 1);
    }
    if (sorter.failure() == SortFailure::None && sorter.finish(sink)) return {};
    if (sorter.failure() == SortFailure::None) return {SortFailure::Stopped, ""};
    return {sorter.failure(), sorter.failed_path()};
}

}  // namespace

SortOutcome dbf_set_order(DbfTable& table, const char* text, const SortSettings& settings) {
    std::vector<int32_t> keys = dbf_parse_field_list(table, text);
    if (keys.empty()) return {SortFailure::UnknownFields, ""};
    // Without the old order, the reads below go through the filter alone.
    table.order_index.reset();
    std::vector<int32_t> order;
    order.reserve(static_cast<size_t>(dbf_record_count(table)));
    IndexSink sink(order);
    SortOutcome outcome = sort_visible(table, keys, settings, false, sink);
    if (outcome.failure == SortFailure::None) table.order_index = std::move(order);
    return outcome;
}

SortOutcome dbf_sort_records(DbfTable& table, const std::vector<int32_t>& keys, const SortSettings& settings,
                             SortSink& sink) {
    return sort_visible(table, keys, settings, true, sink);
}

void dbf_build_key(DbfTable& table, const std::vector<int32_t>& keys, char* key, size_t key_size) {
    if (key_size == 0) return;
    key[0] = '\0';
    if (table.value.size() < kValueBufferSize) return;
    size_t length = 0;
    for (int32_t field : keys) {
        if (field < 0 || field >= table.field_count) continue;
        char type = table.fields[field].type;
        size_t width = type == 'D' ? 8 : type == 'T' ? 14 : static_cast<size_t>(dbf_field_width(table, field));
        // Whatever the rendering leaves unwritten within the width reads as blank
        // below, rather than as the rest of an earlier value.
        char* value = table.value.data();
        std::memset(value, 0, width + 1);
        dbf_field_text(table, field, Rendering::Key);
        // A value cut short by trimming, or holding zero bytes, goes back to the
        // field's width, so that later fields of the key keep their columns.
        for (size_t i = 0; i < width; ++i)
            if (value[i] == '\0') value[i] = ' ';
        size_t text_length = strnlen(value, kValueBufferSize - 1);
        if (dbf_field_is_numeric(table, field) && std::memchr(value, '-', text_length) != nullptr)
            complement_number(value, text_length);
        // A key longer than its buffer is cut: the fields beyond it no longer count.
        size_t room = key_size - 1 - length;
        size_t take = text_length < room ? text_length : room;
        std::memcpy(key + length, value, take);
        length += take;
        key[length] = '\0';
    }
}
