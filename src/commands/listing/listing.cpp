// commands/listing/listing.cpp
//
// /OUT and /SELECT:. /OUT only remembers the kind and the name of a target; each
// /SELECT: opens that target, writes what its kind puts in front of the records,
// renders every visible record (or those of /RANGE:), writes what comes behind and
// closes the target again. Text targets are opened for appending, never truncated,
// so a second listing or the next table's pass adds to what is there.
#include "commands/listing/listing.h"

#include <cstring>
#include <strings.h>

#include "commands/listing/sink.h"
#include "text/codepage.h"

namespace {

struct Ending {
    const char* text;
    OutputKind kind;
};

const Ending kEndings[] = {
    {".txt", OutputKind::Text},    {".sql", OutputKind::Sql},   {".dbf", OutputKind::Table},
    {".prg", OutputKind::Program}, {".fox", OutputKind::Program}, {".htm", OutputKind::Html},
    {".html", OutputKind::Html},
};

bool ends_with_case(const char* name, const char* ending) {
    size_t name_length = std::strlen(name);
    size_t ending_length = std::strlen(ending);
    return name_length >= ending_length && strcasecmp(name + name_length - ending_length, ending) == 0;
}

std::vector<int32_t> select_fields(const DbfTable& table, const char* text) {
    if (text[0] != '*') return dbf_parse_field_list(table, text);
    std::vector<int32_t> all(table.field_count);
    for (int i = 0; i < table.field_count; ++i) all[static_cast<size_t>(i)] = i;
    return all;
}

// The sink of the run's output kind, writing to `file` (or the console).
std::unique_ptr<ListingSink> make_sink(ListingContext context, OutStream& out) {
    switch (context.pass.run.output.kind) {
        case OutputKind::Screen: case OutputKind::Text: return make_text_sink(context, out);
        case OutputKind::Sql: return make_sql_sink(context, out);
        case OutputKind::Program: return make_program_sink(context, out);
        case OutputKind::Html: return make_html_sink(context, out);
        case OutputKind::Table: return make_table_sink(context);
    }
    return nullptr;
}

// One record through the sink.
void render_record(Pass& pass, ListingSink& sink, const std::vector<int32_t>& fields, int32_t position) {
    DbfTable& table = pass.table;
    const bool html = pass.run.output.kind == OutputKind::Html;
    // A failed read leaves the record before it in the buffer; that is rendered.
    (void)dbf_read_record(table, position);
    sink.open_record();
    const size_t count = fields.size();
    for (size_t i = 0; i < count; ++i) {
        const int field = fields[i];
        std::optional<std::string> memo;
        if (pass.run.settings.memo_as_text && dbf_field_is_memo(table, field)) {
            memo = dbf_memo_read(table, field);
            table.value[0] = '\0';
        } else {
            dbf_field_text(table, field);
        }
        char* text = memo ? memo->data() : table.value.data();
        // Listings are OEM text; only HTML converts, the other way, after its mark-up.
        if (table.settings.ansi_text && !html) convert_ansi_to_oem(table, text);
        sink.value(field, text, memo, i + 1 == count);
    }
    sink.close_record();
}

}  // namespace

void cmd_out(Pass& pass, const char* text) {
    OutputTarget& output = pass.run.output;
    if (text[0] != ':') {
        output.kind = OutputKind::Screen;
        output.file_name.reset();
        return;
    }
    const char* name = text + 1;
    for (const Ending& ending : kEndings) {
        if (ends_with_case(name, ending.text)) {
            output.kind = ending.kind;
            output.file_name = name;
            return;
        }
    }
    pass.out.write("Invalid output format...\n");
}

void cmd_select(Pass& pass, const char* text) {
    DbfTable& table = pass.table;
    if (text[0] == '\0') {
        pass.out.write("Field[s] required for select...\n");
        return;
    }
    const std::vector<int32_t> fields = select_fields(table, text);
    if (fields.empty() && text[0] != '*') {
        pass.out.write("Invalid field[s]...\n");
        return;
    }

    const OutputTarget& output = pass.run.output;
    std::optional<OutStream> file;
    if (output.kind != OutputKind::Screen && output.kind != OutputKind::Table) {
        File opened = pass.run.fs.open_append(*output.file_name);
        if (!opened.is_open()) {
            pass.out.print("Can't open %s\n", output.file_name->c_str());
            return;
        }
        file.emplace(std::move(opened));
    }
    std::unique_ptr<ListingSink> sink = make_sink(ListingContext{pass, fields}, file ? *file : pass.out);
    if (!sink->begin()) return;

    // The records the table has now: a listing into the table itself adds to them.
    const int32_t count = dbf_record_count(table);
    if (!pass.run.ranges) {
        for (int32_t i = 0; i < count; ++i) render_record(pass, *sink, fields, i);
    } else {
        for (int32_t position : *pass.run.ranges)
            if (position < count) render_record(pass, *sink, fields, position);
    }
    sink->end();
}
