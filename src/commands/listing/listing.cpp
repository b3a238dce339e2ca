// commands/listing/listing.cpp
//
// /OUT and /SELECT:. /OUT only remembers the kind and the name of a target; each
// /SELECT: opens that target, writes what its kind puts in front of the records,
// renders every visible record (or those of /RANGE:), writes what comes behind and
// closes the target again. Text targets are opened for appending, never truncated,
// so a second listing or the next table's pass adds to what is there.
//
// Under /UTF8, and always for CSV and JSON Lines, text values, memo texts and
// field names go out in UTF-8, converted from the table's code page by one look-up
// per byte; otherwise they go out as the table holds them, or from ANSI to OEM.
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
    {".html", OutputKind::Html},   {".csv", OutputKind::Csv},   {".jsonl", OutputKind::JsonLines},
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
        case OutputKind::Csv: return make_csv_sink(context, out);
        case OutputKind::JsonLines: return make_json_lines_sink(context, out);
        case OutputKind::Table: return make_table_sink(context);
    }
    return nullptr;
}

// Renders records through a sink.
class Renderer {
  public:
    Renderer(Pass& pass, ListingSink& sink, const std::vector<int32_t>& fields, TextCodec* utf8)
        : pass_(pass), sink_(sink), fields_(fields), utf8_(utf8) {
        const OutputKind kind = pass.run.output.kind;
        html_ = kind == OutputKind::Html;
        data_ = kind == OutputKind::Csv || kind == OutputKind::JsonLines;
    }

    // One record: read, then every selected field fetched, converted and handed on.
    void record(int32_t position) {
        DbfTable& table = pass_.table;
        // A failed read leaves the record before it in the buffer; that is rendered.
        (void)dbf_read_record(table, position);
        sink_.open_record();
        const size_t count = fields_.size();
        for (size_t i = 0; i < count; ++i) {
            const int field = fields_[i];
            const char type = table.fields[field].type;
            std::optional<std::string> memo;
            // CSV and JSON Lines hold memo texts in full, whatever /MEMO says, and no binary memos.
            const bool memo_text = data_ ? type == 'M' : pass_.run.settings.memo_as_text;
            if (memo_text && dbf_field_is_memo(table, field)) {
                memo = dbf_memo_read(table, field);
                table.value[0] = '\0';
            } else if (data_ && reads_stored_bytes(type)) {
                table.value[0] = '\0';  // CSV and JSON take these from the record buffer
            } else {
                dbf_field_text(table, field);
            }
            char* text = memo ? memo->data() : table.value.data();
            if (utf8_ != nullptr) {
                text = to_utf8(table, field, text, memo);
            } else if (table.settings.ansi_text && !html_) {
                // Listings are OEM text; only HTML converts, the other way, after its mark-up.
                convert_ansi_to_oem(table, text);
            }
            sink_.value(field, text, memo, i + 1 == count);
        }
        sink_.close_record();
    }

  private:
    // Numbers, dates and logicals that CSV and JSON Lines read as stored.
    static bool reads_stored_bytes(char type) {
        return type == 'N' || type == 'F' || type == 'D' || type == 'T' || type == 'L';
    }

    // The UTF-8 form of a value: a memo text converted in its own string, other
    // text in the renderer's. Numbers, dates and logicals are ASCII as rendered.
    char* to_utf8(const DbfTable& table, int field, char* text, std::optional<std::string>& memo) {
        const char type = table.fields[field].type;
        if (memo) {
            converted_.clear();
            utf8_->to_utf8(*memo, converted_);
            memo->swap(converted_);
            return memo->data();
        }
        if (dbf_field_is_numeric(table, field) || type == 'D' || type == 'T' || type == 'L') return text;
        converted_.clear();
        utf8_->to_utf8(text, converted_);
        return converted_.data();
    }

    Pass& pass_;
    ListingSink& sink_;
    const std::vector<int32_t>& fields_;
    TextCodec* utf8_;  // values go to the sink in UTF-8; null: as the table holds them (or OEM)
    bool html_ = false;
    bool data_ = false;  // CSV or JSON Lines
    std::string converted_;
};

// Every field's name as a listing shows it: as stored, or in UTF-8.
std::vector<std::string> listed_names(const DbfTable& table, TextCodec* utf8) {
    std::vector<std::string> names(static_cast<size_t>(table.field_count));
    for (int i = 0; i < table.field_count; ++i) {
        std::string name = dbf_field_name(table, i);
        if (utf8 != nullptr) utf8->to_utf8(name, names[static_cast<size_t>(i)]);
        else names[static_cast<size_t>(i)] = std::move(name);
    }
    return names;
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
    // Under /UTF8 the names are typed in UTF-8, the descriptors hold the table's code page.
    std::string typed = text;
    if (pass.run.settings.utf8 && !is_ascii(typed)) {
        TextCodec* codec = table_codec(pass.run, table);
        if (codec == nullptr) return;
        std::string converted;
        if (codec->from_utf8(typed, converted) != EncodeResult::Ok) {
            pass.out.write("Invalid field[s]...\n");
            return;
        }
        typed = std::move(converted);
    }
    const std::vector<int32_t> fields = select_fields(table, typed.c_str());
    if (fields.empty() && text[0] != '*') {
        pass.out.write("Invalid field[s]...\n");
        return;
    }

    const OutputTarget& output = pass.run.output;
    // CSV and JSON Lines are UTF-8 always, the other text targets under /UTF8; a
    // table target takes the bytes as they are.
    TextCodec* utf8 = nullptr;
    if (output.kind == OutputKind::Csv || output.kind == OutputKind::JsonLines ||
        (pass.run.settings.utf8 && output.kind != OutputKind::Table)) {
        utf8 = table_codec(pass.run, table);
        if (utf8 == nullptr) return;
    }
    std::optional<OutStream> file;
    bool fresh = false;
    if (output.kind != OutputKind::Screen && output.kind != OutputKind::Table) {
        File opened = pass.run.fs.open_append(*output.file_name);
        if (!opened.is_open()) {
            pass.out.print("Can't open %s\n", output.file_name->c_str());
            return;
        }
        fresh = opened.size() == 0;
        file.emplace(std::move(opened));
    }
    const std::vector<std::string> names = listed_names(table, utf8);
    std::unique_ptr<ListingSink> sink =
        make_sink(ListingContext{pass, fields, names, utf8, fresh}, file ? *file : pass.out);
    if (!sink->begin()) return;

    // HTML converts its cells itself, after the mark-up.
    Renderer renderer(pass, *sink, fields, output.kind == OutputKind::Html ? nullptr : utf8);
    // The records the table has now: a listing into the table itself adds to them.
    const int32_t count = dbf_record_count(table);
    if (!pass.run.ranges) {
        for (int32_t i = 0; i < count; ++i) renderer.record(i);
    } else {
        for (int32_t position : *pass.run.ranges)
            if (position < count) renderer.record(position);
    }
    sink->end();
}
