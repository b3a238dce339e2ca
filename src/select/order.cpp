// select/order.cpp
//
// An order is an array of filter positions, one per visible record, sorted by text
// keys. A record's key is the rendering of each key field, padded back to the
// field's width, with negative numbers complemented so that a plain unsigned byte
// comparison orders text, dates and numbers alike; behind the fields stands the
// record's element number in "%10d", so that no two keys are equal.
//
// Keys are never stored for all records. Only two are held, one per side of the
// comparison, each with the element it belongs to: the quicksort compares many
// elements against one pivot, so the pivot's key is rarely rebuilt.
#include "select/order.h"

#include <cstdio>
#include <cstring>
#include <numeric>

#include "driver/parameters.h"
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

// Brings the key of `element` into one side's buffer unless it is there already.
void load_key(DbfTable& table, int32_t element, int32_t& cached, std::vector<char>& key) {
    if (element == cached) return;
    cached = element;
    dbf_read_record(table, element);
    dbf_build_key(table, key.data(), kSortKeyBufferSize - kKeyNumberWidth);
    fold_value(key.data(), table);
    size_t length = std::strlen(key.data());
    std::snprintf(key.data() + length, kKeyNumberWidth + 1, "%10d", element);
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
    std::vector<int32_t> elements(static_cast<size_t>(dbf_record_count(table)));
    std::iota(elements.begin(), elements.end(), 0);
    table.sort_key_a.assign(kSortKeyBufferSize, '\0');
    table.sort_key_b.assign(kSortKeyBufferSize, '\0');
    table.sort_record_a = -1;
    table.sort_record_b = -1;
    sort_elements(elements.data(), elements.size(), sizeof(int32_t), dbf_sort_compare, &table);
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
