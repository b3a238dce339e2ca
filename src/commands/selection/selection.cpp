// commands/selection/selection.cpp
#include "commands/selection/selection.h"

#include <cstring>
#include <string>

#include "expr/cond.h"
#include "io/progress.h"
#include "select/filter.h"
#include "select/order.h"

void cmd_filter(Pass& pass, const char* text) {
    if (*text == '\0' || std::strpbrk(text, "><={}~") == nullptr) {
        pass.out.write("Invalid filter...\n");
        return;
    }
    // The braces stand for the comparison signs and ';' for '|', which a command
    // line or a list file can't always carry. Quoted constants are no exception.
    std::string condition = text;
    for (char& c : condition) {
        if (c == '}') c = '>';
        else if (c == '{') c = '<';
        else if (c == ';') c = '|';
    }
    dbf_set_filter(pass.table, condition.c_str());
    // The comparison table reads the condition against its own fields.
    if (pass.run.compare_table) dbf_set_filter(*pass.run.compare_table, condition.c_str());
}

void cmd_deleted(Pass& pass, const char* text) {
    DbfTable& table = pass.table;
    bool before = table.settings.hide_deleted;
    table.settings.hide_deleted = text[0] == '-';
    if (table.settings.hide_deleted != before) dbf_set_filter(table, COND_NONE);
    // Without a /FILTER: behind it, an index is only the deleted records left out:
    // showing them again means no filter at all (and no order either).
    if (!table.settings.hide_deleted && !table.filter_text) dbf_clear_filter(table);
}

void cmd_clear(Pass& pass) {
    dbf_clear_order(pass.table);
    dbf_clear_filter(pass.table);
}

namespace {

// Says why an order failed; true if it stands.
bool report_order(Pass& pass, const SortOutcome& outcome) {
    switch (outcome.failure) {
        case SortFailure::None:
            return true;
        case SortFailure::UnknownFields:
            pass.out.write("Invalid field[s]...\n");
            return false;
        case SortFailure::CantWrite:
        case SortFailure::Stopped:
            pass.out.print("Can't write \"%s\", table not ordered\n", outcome.path.c_str());
            return false;
        case SortFailure::CantRead:
            pass.out.print("Can't read \"%s\", table not ordered\n", outcome.path.c_str());
            return false;
    }
    return false;
}

}  // namespace

void cmd_order(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Field[s] required for order...\n");
        return;
    }
    Progress progress(pass.out.descriptor(), "Ordering", pass.run.settings.progress_clock);
    SortSettings settings{pass.run.settings.key_memory_limit, &progress};
    // The indicator is wiped before anything is said.
    SortOutcome outcome = dbf_set_order(pass.table, text, settings);
    progress.finish();
    if (!report_order(pass, outcome) || !pass.run.compare_table) return;
    outcome = dbf_set_order(*pass.run.compare_table, text, settings);
    progress.finish();
    report_order(pass, outcome);
}
