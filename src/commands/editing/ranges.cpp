// commands/editing/ranges.cpp
//
// /RANGE: stores a list of visible positions in the run for /SELECT: and /UPDATE;
// /DELETE: and /RECALL: change deletion marks at once, under the table's lock.
// Positions count through the order and the filter that stand when they are used.
#include "commands/editing/ranges.h"

#include "commands/change.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>

#include "table/record_writer.h"

namespace {

// atoi's reading (leading blanks, a sign, digits, then anything), without its
// undefined overflow: a number beyond the int range stops at the range's end.
int32_t list_number(const char* text) {
    long value = std::strtol(text, nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

bool starts_with_all(const char* text) { return strncasecmp(text, "all", 3) == 0; }

// Gives every listed position below the table's count the mark. Marks go to the
// file in runs of adjacent records (table/record_writer.h); a mark that can't be
// read or written stays as it was.
void change_marks(DbfTable& table, const char* text, uint8_t mark) {
    RecordUpdater updater(table);
    int32_t count = dbf_record_count(table);
    if (starts_with_all(text))
        for (int32_t position = 0; position < count; ++position) (void)updater.mark(position, mark);
    // The word "all" itself reads as the number 0 and adds nothing to the walk.
    parse_record_list(
        text,
        [&](int32_t position) {
            if (position >= 0 && position < count) (void)updater.mark(position, mark);
        },
        count);
    (void)updater.finish();  // marks that could not be written stay as they were
}

}  // namespace

void parse_record_list(const char* text, const std::function<void(int32_t)>& visit, int32_t range_limit) {
    std::string copy = text;  // the parameter comes back for the next table unchanged
    char* save = nullptr;
    for (char* item = strtok_r(copy.data(), ";,", &save); item != nullptr; item = strtok_r(nullptr, ";,", &save)) {
        char* dash = std::strchr(item, '-');
        if (dash == nullptr) {
            int32_t number = list_number(item);
            if (number != 0) visit(number - 1);
            continue;
        }
        *dash = '\0';
        int32_t first = list_number(item);
        if (first == 0) continue;
        // The part before the first '-' holds no minus sign, so `first` is positive
        // here; "3-" has a last number of 0 and gives nothing.
        int64_t last = static_cast<int64_t>(list_number(dash + 1)) - 1;
        if (last >= range_limit) last = static_cast<int64_t>(range_limit) - 1;
        for (int64_t position = first - 1; position <= last; ++position) visit(static_cast<int32_t>(position));
    }
}

void cmd_range(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Parameter required for range...\n");
        return;
    }
    std::optional<std::vector<int32_t>>& ranges = pass.run.ranges;
    if (starts_with_all(text)) {
        ranges.reset();
        return;
    }
    // An existing but empty list selects nothing, so it is made even when no item
    // yields a position ("/RANGE:0", "/RANGE:abc").
    if (!ranges) ranges.emplace();
    std::vector<int32_t>& list = *ranges;
    // A range item is expanded only as far as the records of the file now open
    // (no visible position can reach further): a consumer passes over positions past
    // the end anyway, and "1-2000000000" must not become eight gigabytes of entries.
    // Single numbers stay as typed.
    int32_t limit = static_cast<int32_t>(pass.table.header.record_count);
    parse_record_list(text, [&](int32_t position) { list.push_back(position); }, limit);
}

void cmd_delete(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Parameter required for delete...\n");
        return;
    }
    TableChange change(pass, pass.table);
    change_marks(pass.table, text, '*');
}

void cmd_recall(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Parameter required for recall...\n");
        return;
    }
    TableChange change(pass, pass.table);
    change_marks(pass.table, text, ' ');
}
