// commands/listing/text_sinks.cpp
//
// The plain-text targets: the screen and text files (a line of "value|" cells per
// record, or a block of "NAME      |value" lines in the fields layout), SQL insert
// statements and program scripts. Quotes inside values are written as they are;
// values keep their padding. Memo texts are cut into lines at runs of CR and LF,
// so empty lines vanish.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "commands/listing/sink.h"

namespace {

bool is_true_letter(char letter) { return letter == 'T' || letter == 'Y'; }

bool is_date_type(char type) { return type == 'D' || type == 'T'; }

// Calls `line` for every line of a memo text; runs of CR and LF bytes separate
// lines. Each line is handed over NUL-terminated.
template <typename Line>
void for_each_memo_line(const std::optional<std::string>& memo, Line line) {
    if (!memo) return;
    std::string_view rest(memo->c_str());
    std::string piece;
    while (true) {
        size_t start = rest.find_first_not_of("\r\n");
        if (start == std::string_view::npos) return;
        rest.remove_prefix(start);
        size_t end = rest.find_first_of("\r\n");
        piece.assign(rest.substr(0, end));
        line(piece.c_str());
        if (end == std::string_view::npos) return;
        rest.remove_prefix(end);
    }
}

class TextSink : public ListingSink {
  public:
    TextSink(ListingContext context, OutStream& out) : c_(context), out_(out) {}

    bool begin() override {
        const DbfTable& table = c_.pass.table;
        const RunSettings& settings = c_.pass.run.settings;
        if (!settings.header_row || table.settings.list_fields) return true;
        // The row of field names, each padded to its column's width but never cut.
        if (settings.show_deletion_mark) out_.write("*|");
        for (int32_t field : c_.fields) {
            put_padded(out_, c_.names[field], dbf_display_width(table, field), c_.utf8 != nullptr);
            out_.put('|');
        }
        out_.put('\n');
        return true;
    }

    void open_record() override {
        if (!c_.pass.run.settings.show_deletion_mark) return;
        const DbfTable& table = c_.pass.table;
        char mark = static_cast<char>(table.record[0]);
        if (!table.settings.list_fields) {
            out_.put(mark);
            out_.put('|');
        } else {
            put_padded(out_, "*", 10, false);
            out_.put('|');
            out_.put(mark);
            out_.put('\n');
        }
    }

    void value(int field, const char* text, const std::optional<std::string>&, bool) override {
        const DbfTable& table = c_.pass.table;
        std::string_view shown(text);
        if (shown.find('\r') != std::string_view::npos) {
            without_cr_.assign(shown);
            shown = strip_cr(without_cr_.data());
        }
        if (!table.settings.list_fields) {
            out_.write(shown);
            out_.put('|');
        } else {
            put_padded(out_, c_.names[field], 10, c_.utf8 != nullptr);
            out_.put('|');
            out_.write(shown);
            out_.put('\n');
        }
    }

    void close_record() override {
        const DbfTable& table = c_.pass.table;
        if (c_.pass.run.settings.show_file_name) {
            out_.write(table.path);
            if (table.settings.list_fields) out_.put('\n');
        }
        out_.put('\n');
    }

    void end() override {}

  private:
    ListingContext c_;
    OutStream& out_;
    std::string without_cr_;
};

class SqlSink : public ListingSink {
  public:
    SqlSink(ListingContext context, OutStream& out) : c_(context), out_(out) {}

    bool begin() override { return true; }

    void open_record() override {
        const DbfTable& table = c_.pass.table;
        out_.write("insert into \"");
        out_.write(table.path);
        out_.write("\" (");
        const char* separator = "";
        for (int32_t field : c_.fields) {
            out_.write(separator);
            out_.write(c_.names[field]);
            separator = ", ";
        }
        out_.write(" ) values (");
    }

    void value(int field, const char* text, const std::optional<std::string>& memo, bool last) override {
        const DbfTable& table = c_.pass.table;
        const char type = table.fields[field].type;
        if (dbf_field_is_numeric(table, field)) {
            out_.write(text);
        } else if (is_date_type(type)) {
            put_quoted(text);
        } else if (c_.pass.run.settings.memo_as_text && dbf_field_is_memo(table, field)) {
            // The text in single quotes, each of its lines closed by a line feed.
            bool first = true;
            for_each_memo_line(memo, [&](const char* line) {
                if (first) out_.put('\'');
                out_.write(line);
                out_.put('\n');
                first = false;
            });
            out_.write(first ? "''" : "'");
        } else if (type == 'L') {
            out_.write(is_true_letter(text[0]) ? "TRUE " : "FALSE");
        } else {
            put_quoted(text);
        }
        if (!last) out_.write(", ");
    }

    void close_record() override { out_.write(");\n"); }

    void end() override {}

  private:
    void put_quoted(const char* value) {
        out_.put('"');
        out_.write(value);
        out_.put('"');
    }

    ListingContext c_;
    OutStream& out_;
};

class ProgramSink : public ListingSink {
  public:
    ProgramSink(ListingContext context, OutStream& out) : c_(context), out_(out) {}

    bool begin() override {
        out_.print("use %s\n", c_.pass.table.path.c_str());
        return true;
    }

    void open_record() override { out_.write("append blank\nreplace ;\n"); }

    void value(int field, const char* text, const std::optional<std::string>& memo, bool last) override {
        const DbfTable& table = c_.pass.table;
        const std::string& name = c_.names[field];
        const char type = table.fields[field].type;
        if (dbf_field_is_numeric(table, field)) {
            out_.print("\t%s with %s", name.c_str(), text);
        } else if (is_date_type(type)) {
            out_.print("\t%s with ctod(\"%s\")", name.c_str(), text);
        } else if (dbf_field_is_memo(table, field)) {
            // Without /MEMO:text there is no memo text, and the field gets "".
            out_.print("\t%s with ;\n", name.c_str());
            for_each_memo_line(memo, [&](const char* line) { out_.print("\t\t\"%s\" + chr(13) + chr(10) +;\n", line); });
            out_.write("\t\t\"\"");
        } else if (type == 'L') {
            out_.print("\t%s with .%c.", name.c_str(), is_true_letter(text[0]) ? 'T' : 'F');
        } else {
            out_.print("\t%s with \"%s\"", name.c_str(), text);
        }
        out_.write(last ? "\n" : ", ;\n");
    }

    void close_record() override {}

    void end() override { out_.print("use\t&&\t%s\n\n", c_.pass.table.path.c_str()); }

  private:
    ListingContext c_;
    OutStream& out_;
};

}  // namespace

char* strip_cr(char* text) {
    char* kept = text;
    for (const char* p = text; *p != '\0'; ++p)
        if (*p != '\r') *kept++ = *p;
    *kept = '\0';
    return text;
}

void put_padded(OutStream& out, std::string_view text, int width, bool utf8) {
    static constexpr std::string_view kBlanks = "                                ";
    out.write(text);
    size_t length = utf8 ? utf8_length(text) : text.size();
    for (size_t wanted = width > 0 ? static_cast<size_t>(width) : 0; length < wanted;) {
        size_t blanks = std::min(wanted - length, kBlanks.size());
        out.write(kBlanks.substr(0, blanks));
        length += blanks;
    }
}

std::unique_ptr<ListingSink> make_text_sink(ListingContext context, OutStream& out) {
    return std::make_unique<TextSink>(context, out);
}

std::unique_ptr<ListingSink> make_sql_sink(ListingContext context, OutStream& out) {
    return std::make_unique<SqlSink>(context, out);
}

std::unique_ptr<ListingSink> make_program_sink(ListingContext context, OutStream& out) {
    return std::make_unique<ProgramSink>(context, out);
}
