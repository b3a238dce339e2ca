// select/order.cpp
//
// An order is an array of filter positions, one per visible record, sorted by text
// keys. A record's key is the rendering of each key field, padded back to the
// field's width, with negative numbers complemented so that a plain unsigned byte
// comparison orders text, dates and numbers alike; behind the fields stands the
// record's element number in "%10d", so that no two keys are equal.
//
// Two ways to the same order. Where the keys of all records fit the key memory limit, one walk through the records builds every key into one arena and the sort
// compares stored keys. Otherwise only two keys are held, one per side of the
// comparison, each with the element it belongs to: the quicksort compares many
// elements against one pivot, so the pivot's key is rarely rebuilt, but every other
// comparison reads and renders a record. Since no two keys are equal, the order is
// the only one the keys allow, and both ways run the same quicksort through the
// same sequence of comparisons.
#include "select/order.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <numeric>

#include "select/sort.h"
#include "text/codepage.h"

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
size_t render_key(DbfTable& table, const std::vector<int32_t>& keys, int32_t element, char* key) {
    dbf_build_key(table, keys, key, kSortKeyBufferSize - kKeyNumberWidth);
    fold_value(key, table);
    size_t length = std::strlen(key);
    std::snprintf(key + length, kKeyNumberWidth + 1, "%10d", element);
    return length + kKeyNumberWidth;
}

// ---- Two keys at a time -----------------------------------------------------------

// The context of the two-key comparison: one key per side, each with the element
// it belongs to.
struct TwoKeys {
    DbfTable& table;
    const std::vector<int32_t>& keys;
    std::vector<char> key_a = std::vector<char>(kSortKeyBufferSize, '\0');
    std::vector<char> key_b = std::vector<char>(kSortKeyBufferSize, '\0');
    int32_t element_a = -1;
    int32_t element_b = -1;
};

// Brings the key of `element` into one side's buffer unless it is there already.
void load_key(TwoKeys& two, int32_t element, int32_t& cached, std::vector<char>& key) {
    if (element == cached) return;
    cached = element;
    // A record that can't be read gives the key of the record read before it.
    (void)dbf_read_record(two.table, element);
    render_key(two.table, two.keys, element, key.data());
}

int two_key_compare(const void* a, const void* b, void* context) {
    TwoKeys& two = *static_cast<TwoKeys*>(context);
    int32_t element_a, element_b;
    std::memcpy(&element_a, a, sizeof element_a);
    std::memcpy(&element_b, b, sizeof element_b);
    load_key(two, element_a, two.element_a, two.key_a);
    load_key(two, element_b, two.element_b, two.key_b);
    // Unsigned bytes, through the end of the first key; its terminator takes part,
    // so a key that is a prefix of the other sorts first instead of comparing equal.
    int r = std::memcmp(two.key_a.data(), two.key_b.data(), std::strlen(two.key_a.data()) + 1);
    r = (r > 0) - (r < 0);
    return two.table.settings.sort_descending ? -r : r;
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
    bool descending;
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
    return keys.descending ? -r : r;
}

// One walk through the visible records builds every key. False, with nothing kept,
// if the keys would pass `limit` bytes or a record can't be read (the
// two-key path would build that key from the record read before, whichever that
// is): that sort then takes the two-key path. Bytes of the record buffer past the
// header's record length stay as they were through a sort, so fields there give
// the same keys both ways.
bool store_keys(DbfTable& table, const std::vector<int32_t>& fields, size_t count, size_t key_memory_limit,
                StoredKeys& keys) {
    const size_t limit = std::min<size_t>(key_memory_limit, UINT32_MAX);
    std::vector<char> buffer(kSortKeyBufferSize, '\0');
    char* key = buffer.data();
    keys.elements.resize(count);
    for (size_t i = 0; i < count; ++i) {
        int32_t element = static_cast<int32_t>(i);
        if (!dbf_read_record(table, element)) return false;
        size_t length = render_key(table, fields, element, key);
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

bool dbf_set_order(DbfTable& table, const char* text, size_t key_memory_limit) {
    std::vector<int32_t> keys = dbf_parse_field_list(table, text);
    if (keys.empty()) return false;
    // Without the old order, the reads below go through the filter alone.
    table.order_index.reset();
    table.order_index = dbf_sort_index(table, keys, key_memory_limit);
    return true;
}

std::vector<int32_t> dbf_sort_index(DbfTable& table, const std::vector<int32_t>& keys, size_t key_memory_limit) {
    const size_t count = static_cast<size_t>(dbf_record_count(table));
    std::vector<int32_t> elements(count);
    {
        StoredKeys stored{table.settings.sort_descending, {}, {}};
        if (store_keys(table, keys, count, key_memory_limit, stored)) {
            sort_elements(stored.elements.data(), count, sizeof(StoredKey), stored_key_compare, &stored);
            for (size_t i = 0; i < count; ++i) elements[i] = stored.elements[i].element;
            return elements;
        }
    }
    std::iota(elements.begin(), elements.end(), 0);
    TwoKeys two{table, keys};
    sort_elements(elements.data(), count, sizeof(int32_t), two_key_compare, &two);
    return elements;
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
