// export/output_table.cpp
#include "export/output_table.h"

#include <sys/stat.h>
#include <vector>

#include "driver/parameters.h"
#include "export/listing.h"
#include "table/dbf.h"

namespace {

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

// Creates the target with the selected fields of the current table. Nothing is
// made if its memo file would be the current table's own, which creation empties.
void create_target(DbfTable& current, const std::string& path) {
    int kind = dbf_bind_memo(current);
    if (same_file(dbf_memo_file_name(path, kind), current.memo_path)) return;
    size_t count = state.selected_fields.size();
    if (count > static_cast<size_t>(kMaxFields)) count = kMaxFields;
    std::vector<FieldDesc> fields(count);
    for (size_t i = 0; i < count; ++i) {
        int source = state.selected_fields[i];
        const FieldDesc& desc = current.fields[static_cast<size_t>(source)];
        dbf_fill_field(fields[i], dbf_field_name(current, source).c_str(), desc.type,
                       static_cast<uint16_t>(dbf_wide_length(desc)));
    }
    dbf_create(path, fields.data(), static_cast<int>(count), kind, dbf_memo_block_size(current), 1);
}

}  // namespace

void open_output_table() {
    DbfTable& current = *state.current_table;
    state.output_table.reset();
    if (!state.out_file_name) return;
    auto target = std::make_unique<DbfTable>();
    dbf_init(*target);
    // Dates pass between the tables as text, rendered by one and parsed by the other.
    target->date_mode = current.date_mode;
    target->path = *state.out_file_name;
    target->fd = dbf_open_file(target->path.c_str());
    if (target->fd == 0) {
        create_target(current, target->path);
        target->fd = dbf_open_file(target->path.c_str());
    }
    if (target->fd == 0 || !dbf_read_header(*target) || !dbf_read_fields(*target)) return;
    dbf_bind_memo(*target);
    state.output_table = std::move(target);
}

void dbf_output_open_record() {
    if (state.output_table) dbf_blank_record(*state.output_table);
}

void dbf_output_value(int field, const char* text) {
    if (!state.output_table) return;
    DbfTable& source = *state.current_table;
    DbfTable& target = *state.output_table;
    int index = dbf_find_field(target, dbf_field_name(source, field).c_str());
    if (index < 0) return;
    // The source field alone decides whether a number goes along.
    double number = dbf_field_is_numeric(source, field) ? dbf_field_number(source, field) : 0.0;
    dbf_field_set(target, index, text, number);
}

void dbf_output_close_record() {
    if (state.output_table) dbf_append_record(*state.output_table, 0);
}
