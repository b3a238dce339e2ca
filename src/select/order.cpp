// select/order.cpp
//
// An order is an array of filter positions, one per visible record, sorted by text
// keys. A record's key is the rendering of each key field, padded back to the
// field's width, with negative numbers complemented so that a plain unsigned byte
// comparison orders text, dates and numbers alike; behind the fields stands the
// record's element number in "%10d", so that no two keys are equal.
//
// Two ways to the same order. Where the keys of all records fit `sort_key_arena_limit`
// bytes, one walk through the records builds every key into one arena and the sort
// compares stored keys. Otherwise only two keys are held, one per side of the
// comparison, each with the element it belongs to: the quicksort compares many
// elements against one pivot, so the pivot's key is rarely rebuilt, but every other
// comparison reads and renders a record. Since no two keys are equal, the order is
// the only one the keys allow, and both ways run the same quicksort through the
// same sequence of comparisons.
#include "select/order.h"

#include <cstdio>
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "driver/parameters.h"
#include "select/sort.h"
#include "text/codepage.h"

size_t sort_key_arena_limit = size_t{256} << 20;

namespace {

constexpr size_t kSortKeyBufferSize = 65536;
// The element number behind the fields: "%10d" of a non-negative 32-bit number.
constexpr size_t kKeyNumberWidth = 10;

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

// The whole key of the record in the buffer, folded, with `element` behind it, into
// a buffer of kSortKeyBufferSize bytes. Its length.
size_t render_key(DbfTable& table, int32_t element, char* key) {
    dbf_build_key(table, key, kSortKeyBufferSize - kKeyNumberWidth);
    fold_value(key, table);
    size_t length = std::strlen(key);
    std::snprintf(key + length, kKeyNumberWidth + 1, "%10d", element);
    return length + kKeyNumberWidth;
}

// Brings the key of `element` into one side's buffer unless it is there already.
void load_key(DbfTable& table, int32_t element, int32_t& cached, std::vector<char>& key) {
    if (element == cached) return;
    cached = element;
    dbf_read_record(table, element);
    render_key(table, element, key.data());
}

// ---- Keys stored for all records ----------------------------------------------------

// One element of the stored-key sort. Most comparisons end in `prefix`, without
// a look into the arena.
struct StoredKey {
    uint64_t prefix;  // the key's first 8 bytes, big-endian, zeros behind its end
    uint32_t offset;  // of the key in the arena
    int32_t element;
};
static_assert(sizeof(StoredKey) == 16, "elements are swapped as 16 bytes");

struct StoredKeys {
    DbfTable* table;
    std::vector<char> arena;  // every key with its terminator, end to end
    std::vector<StoredKey> elements;
};

uint64_t key_prefix(const char* key, size_t length) {
    uint64_t prefix = 0;
    for (size_t i = 0; i < 8; ++i)
        prefix = prefix << 8 | (i < length ? static_cast<unsigned char>(key[i]) : 0u);
    return prefix;
}

// The sign of the unsigned byte comparison of two keys, terminators included, as
// the two-key path compares them.
int stored_key_compare(const void* a, const void* b, void* context) {
    const StoredKeys& keys = *static_cast<const StoredKeys*>(context);
    StoredKey key_a, key_b;
    std::memcpy(&key_a, a, sizeof key_a);
    std::memcpy(&key_b, b, sizeof key_b);
    int r;
    if (key_a.prefix != key_b.prefix) {
        r = key_a.prefix < key_b.prefix ? -1 : 1;
    } else {
        // Keys are at least the 10 bytes of their number long, and hold no zero byte
        // before their end: equal prefixes are 8 equal bytes of both.
        r = std::strcmp(keys.arena.data() + key_a.offset + 8, keys.arena.data() + key_b.offset + 8);
        r = (r > 0) - (r < 0);
    }
    const DbfTable& table = *keys.table;
    if (table.sort_progress) table.sort_progress();
    return table.sort_descending ? -r : r;
}

// One walk through the visible records builds every key. False, with nothing kept,
// if the keys would pass `sort_key_arena_limit` or a record can't be read (the
// two-key path would build that key from the record read before, whichever that
// is): that sort then takes the two-key path. Bytes of the record buffer past the
// header's record length stay as they were through a sort, so fields there give
// the same keys both ways.
bool store_keys(DbfTable& table, size_t count, StoredKeys& keys) {
    const size_t limit = std::min<size_t>(sort_key_arena_limit, UINT32_MAX);
    char* key = table.sort_key_a.data();
    keys.elements.resize(count);
    for (size_t i = 0; i < count; ++i) {
        int32_t element = static_cast<int32_t>(i);
        if (!dbf_read_record(table, element)) return false;
        size_t length = render_key(table, element, key);
        size_t used = keys.arena.size();
        if (length + 1 > limit - used) return false;
        if (used + length + 1 > keys.arena.capacity()) {
            // The first key foretells the rest: most keys are of one length.
            size_t wanted = i == 0 ? (length + 1) * count : keys.arena.capacity() * 2;
            keys.arena.reserve(std::min(limit, std::max(wanted, used + length + 1)));
        }
        keys.arena.insert(keys.arena.end(), key, key + length + 1);
        keys.elements[i] = StoredKey{key_prefix(key, length), static_cast<uint32_t>(used), element};
    }
    return true;
}

}  // namespace

void cmd_order(const char* text) {
    if (*text == '\0') {
        std::fputs("Field[s] required for order...\n", stdout);
        return;
    }
    if (!dbf_set_order(*state.current_table, text, nullptr)) {
        std::fputs("Invalid field[s]...\n", stdout);
        return;
    }
    if (state.compare_table && !dbf_set_order(*state.compare_table, text, nullptr))
        std::fputs("Invalid field[s]...\n", stdout);
}

int dbf_set_order(DbfTable& table, const char* text, ProgressFn progress) {
    // A failed list leaves the old order in force (its key count is gone by now).
    if (dbf_parse_field_list(table, text, table.order_key_count, table.order_keys) != 0) return 0;
    table.sort_key_count = table.order_key_count;
    table.sort_keys = table.order_keys.data();
    return dbf_sort_index(table, table.order_index, progress);
}

int dbf_sort_index(DbfTable& table, std::optional<std::vector<int32_t>>& index_slot, ProgressFn progress) {
    // With order_index as the slot, the reads below go through the filter alone.
    index_slot.reset();
    table.sort_progress = progress;
    const size_t count = static_cast<size_t>(dbf_record_count(table));
    std::vector<int32_t> elements(count);
    table.sort_key_a.assign(kSortKeyBufferSize, '\0');
    table.sort_key_b.assign(kSortKeyBufferSize, '\0');
    table.sort_record_a = -1;
    table.sort_record_b = -1;
    StoredKeys keys{&table, {}, {}};
    if (store_keys(table, count, keys)) {
        sort_elements(keys.elements.data(), count, sizeof(StoredKey), stored_key_compare, &keys);
        for (size_t i = 0; i < count; ++i) elements[i] = keys.elements[i].element;
    } else {
        keys = StoredKeys{};
        std::iota(elements.begin(), elements.end(), 0);
        sort_elements(elements.data(), count, sizeof(int32_t), dbf_sort_compare, &table);
    }
    table.sort_progress = nullptr;
    index_slot = std::move(elements);
    std::vector<char>().swap(table.sort_key_a);
    std::vector<char>().swap(table.sort_key_b);
    return 1;
}

void dbf_build_key(DbfTable& table, char* key, size_t key_size) {
    if (key_size == 0) return;
    key[0] = '\0';
    if (table.value.size() < kValueBufferSize || table.sort_keys == nullptr) return;
    size_t length = 0;
    for (int32_t k = 0; k < table.sort_key_count; ++k) {
        int field = table.sort_keys[k];
        if (field < 0 || field >= table.field_count) continue;
        char type = table.fields[field].type;
        size_t width = type == 'D' ? 8 : type == 'T' ? 14 : static_cast<size_t>(dbf_field_width(table, field));
        // Whatever the rendering leaves unwritten within the width reads as blank
        // below, rather than as the rest of an earlier value.
        char* value = table.value.data();
        std::memset(value, 0, width + 1);
        // Modes 4 to 7 keep a date as its stored digits, whatever the display mode.
        table.date_mode += 4;
        dbf_field_text(table, field);
        table.date_mode -= 4;
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

int dbf_sort_compare(const void* a, const void* b, void* context) {
    DbfTable& table = *static_cast<DbfTable*>(context);
    int32_t element_a, element_b;
    std::memcpy(&element_a, a, sizeof element_a);
    std::memcpy(&element_b, b, sizeof element_b);
    load_key(table, element_a, table.sort_record_a, table.sort_key_a);
    load_key(table, element_b, table.sort_record_b, table.sort_key_b);
    // Unsigned bytes, through the end of the first key; its terminator takes part,
    // so a key that is a prefix of the other sorts first instead of comparing equal.
    int r = std::memcmp(table.sort_key_a.data(), table.sort_key_b.data(), std::strlen(table.sort_key_a.data()) + 1);
    r = (r > 0) - (r < 0);
    if (table.sort_progress) table.sort_progress();
    return table.sort_descending ? -r : r;
}
