// commands/listing/text_sinks.cpp
//
// The plain-text targets: the screen and text files (a line of "value|" cells per
// record, or a block of "NAME      |value" lines in the fields layout), SQL insert
// statements and program scripts. Values keep their padding. In SQL the quote that
// encloses a value is doubled inside it, names that are keywords or no plain
// identifiers stand in double quotes, and NaN or an infinity is NULL; in
// program scripts quotes are written as they are. Memo texts are cut into lines at
// runs of CR and LF, so empty lines vanish.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "commands/listing/sink.h"
#include "text/sql.h"

namespace {

// Logicals are true as T or Y in either case, as every reader of these files takes them.
bool is_true_letter(char letter) { return letter == 'T' || letter == 'Y' || letter == 't' || letter == 'y'; }

bool is_date_type(char type) { return type == 'D' || type == 'T'; }

// Calls `line` for every line of a memo text; runs of CR and LF bytes separate
// lines.
template <typename Line>
void for_each_memo_line(std::string_view rest, Line line) {
    while (true) {
        size_t start = rest.find_first_not_of("\r\n");
        if (start == std::string_view::npos) return;
        rest.remove_prefix(start);
        size_t end = rest.find_first_of("\r\n");
        line(rest.substr(0, end));
        if (end == std::string_view::npos) return;
        rest.remove_prefix(end);
    }
}

// What a sink needs to know of each field, worked out once per listing.
struct FieldFacts {
    std::string name;  // as the listing shows it
    bool numeric = false;
    bool date = false;
    bool logical = false;
    bool memo = false;
};

std::vector<FieldFacts> field_facts(const ListingContext& context) {
    const DbfTable& table = context.pass.table;
    std::vector<FieldFacts> facts(static_cast<size_t>(table.field_count));
    for (int field = 0; field < table.field_count; ++field) {
        FieldFacts& f = facts[static_cast<size_t>(field)];
        f.name = context.names[static_cast<size_t>(field)];
        f.numeric = dbf_field_is_numeric(table, field);
        f.date = is_date_type(table.fields[static_cast<size_t>(field)].type);
        f.logical = table.fields[static_cast<size_t>(field)].type == 'L';
        f.memo = dbf_field_is_memo(table, field);
    }
    return facts;
}

// Copies `text` to `out` without its CRs; the end of the copy.
char* copy_without_cr(char* out, std::string_view text) {
    for (char c : text)
        if (c != '\r') *out++ = c;
    return out;
}

class TextSink : public ListingSink {
  public:
    TextSink(ListingContext context, OutStream& out)
        : c_(context), out_(out), facts_(field_facts(context)),
          fields_layout_(context.pass.table.settings.list_fields),
          deletion_mark_(context.pass.run.settings.show_deletion_mark),
          file_name_(context.pass.run.settings.show_file_name) {}

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

    void record(const std::vector<FieldValue>& values, const RecordFacts& facts) override {
        const DbfTable& table = c_.pass.table;
        const char mark = static_cast<char>(table.record[0]);
        if (fields_layout_) {
            fields_record(values, facts, mark);
            return;
        }
        // One line: "mark|" if asked, "value|" for each field, the table's path if asked.
        char* p = out_.room(facts.text_bytes + values.size() + 3 + (file_name_ ? table.path.size() : 0));
        if (deletion_mark_) {
            *p++ = mark;
            *p++ = '|';
        }
        for (const FieldValue& value : values) {
            if ((value.memo || facts.may_hold_cr) && value.text.find('\r') != std::string_view::npos) {
                p = copy_without_cr(p, value.text);
            } else if (!value.text.empty()) {
                std::memcpy(p, value.text.data(), value.text.size());
                p += value.text.size();
            }
            *p++ = '|';
        }
        if (file_name_ && !table.path.empty()) {
            std::memcpy(p, table.path.data(), table.path.size());
            p += table.path.size();
        }
        *p++ = '\n';
        out_.commit(p);
    }

    bool record_quick(const QuickValues& values, const RecordFacts& facts) override {
        if (fields_layout_ || facts.may_hold_cr) return false;
        const DbfTable& table = c_.pass.table;
        char* const start = out_.room(values.room() + values.size() + 3 + (file_name_ ? table.path.size() : 0));
        char* p = start;
        if (deletion_mark_) {
            *p++ = static_cast<char>(table.record[0]);
            *p++ = '|';
        }
        for (size_t i = 0; i < values.size(); ++i) {
            p = values.put(i, p);
            if (p == nullptr) return false;
            *p++ = '|';
        }
        if (file_name_ && !table.path.empty()) {
            std::memcpy(p, table.path.data(), table.path.size());
            p += table.path.size();
        }
        *p++ = '\n';
        out_.commit(p);
        return true;
    }

    void end() override {}

  private:
    // A block of "NAME      |value" lines.
    void fields_record(const std::vector<FieldValue>& values, const RecordFacts& facts, char mark) {
        if (deletion_mark_) {
            put_padded(out_, "*", 10, false);
            out_.put('|');
            out_.put(mark);
            out_.put('\n');
        }
        for (const FieldValue& value : values) {
            std::string_view text = value.text;
            if ((value.memo || facts.may_hold_cr) && text.find('\r') != std::string_view::npos) {
                without_cr_.assign(text);
                text = strip_cr(without_cr_.data());
            }
            put_padded(out_, facts_[static_cast<size_t>(value.field)].name, 10, c_.utf8 != nullptr);
            out_.put('|');
            out_.write(text);
            out_.put('\n');
        }
        if (file_name_) {
            out_.write(c_.pass.table.path);
            out_.put('\n');
        }
        out_.put('\n');
    }

    ListingContext c_;
    OutStream& out_;
    const std::vector<FieldFacts> facts_;
    const bool fields_layout_;
    const bool deletion_mark_;
    const bool file_name_;
    std::string without_cr_;
};

class SqlSink : public ListingSink {
  public:
    SqlSink(ListingContext context, OutStream& out)
        : c_(context), out_(out), facts_(field_facts(context)),
          memo_as_text_(context.pass.run.settings.memo_as_text) {
        const DbfTable& table = c_.pass.table;
        statement_ = "insert into " + sql_quoted(table.path, '"') + " (";
        const char* separator = "";
        for (int32_t field : c_.fields) {
            statement_ += separator;
            statement_ += sql_name(facts_[static_cast<size_t>(field)].name);
            separator = ", ";
        }
        statement_ += " ) values (";
        for (int32_t field : c_.fields) {
            const FieldFacts& f = facts_[static_cast<size_t>(field)];
            // A date format may put quotes in a date, which would need doubling.
            if (f.date && table.settings.date_mode != DateMode::Asis) {
                const size_t mode = static_cast<size_t>(table.settings.date_mode);
                const bool datetime = table.fields[static_cast<size_t>(field)].type == 'T';
                const std::string& format = datetime ? table.datetime_format[mode] : table.date_format[mode];
                quick_ = quick_ && format.find('"') == std::string::npos;
            }
            forms_.push_back(f.numeric                  ? Form::Number
                             : f.date                   ? Form::Quoted
                             : memo_as_text_ && f.memo ? Form::MemoText
                             : f.logical                ? Form::Logical
                                                        : Form::Quoted);
        }
    }

    bool begin() override { return true; }

    // Quick values hold no letters in numbers: no NaN, no infinity.
    bool record_quick(const QuickValues& values, const RecordFacts& facts) override {
        if (facts.may_hold_quote || !quick_) return false;
        char* p = out_.room(statement_.size() + values.room() + 4 * values.size() + 8);
        std::memcpy(p, statement_.data(), statement_.size());
        p += statement_.size();
        for (size_t i = 0; i < values.size(); ++i) {
            if (i > 0) {
                std::memcpy(p, ", ", 2);
                p += 2;
            }
            char* start = p;
            switch (forms_[i]) {
                case Form::Number:
                    p = values.put(i, p);
                    break;
                case Form::Quoted:
                    *start++ = '"';
                    p = values.put(i, start);
                    if (p != nullptr) *p++ = '"';
                    break;
                case Form::Logical:
                    p = values.put(i, p);
                    if (p != nullptr) {
                        std::memcpy(start, is_true_letter(p > start ? *start : '\0') ? "TRUE " : "FALSE", 5);
                        p = start + 5;
                    }
                    break;
                case Form::MemoText:
                    return false;
            }
            if (p == nullptr) return false;
        }
        std::memcpy(p, ");\n", 3);
        out_.commit(p + 3);
        return true;
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        // Room for the most a record can take: a memo's lines each add a line feed.
        size_t most = statement_.size() + 8;
        // Quotes inside a value are doubled.
        for (const FieldValue& value : values) most += 2 * value.text.size() + 8;
        InPlace line(out_, most);
        line.write(statement_);
        bool first_value = true;
        for (const FieldValue& value : values) {
            if (!first_value) line.write(", ");
            first_value = false;
            const FieldFacts& f = facts_[static_cast<size_t>(value.field)];
            std::string_view text = value.text;
            if (f.numeric) {
                // SQL has no number for NaN or the infinities.
                line.write(finite(value.field, text) ? text : std::string_view("NULL"));
            } else if (f.date) {
                put_quoted(line, text);
            } else if (memo_as_text_ && f.memo) {
                // The text in single quotes, each of its lines closed by a line feed.
                bool first = true;
                for_each_memo_line(value.memo ? text : std::string_view(), [&](std::string_view memo_line) {
                    if (first) line.put('\'');
                    put_doubled(line, memo_line, '\'');
                    line.put('\n');
                    first = false;
                });
                if (first)
                    line.write("''");
                else
                    line.put('\'');
            } else if (f.logical) {
                if (is_true_letter(text.empty() ? '\0' : text[0]))
                    line.write("TRUE ");
                else
                    line.write("FALSE");
            } else {
                put_quoted(line, text);
            }
        }
        line.write(");\n");
    }

    void end() override {}

  private:
    // The text with each `quote` in it doubled, as SQL literals and names take it.
    static void put_doubled(InPlace& out, std::string_view text, char quote) {
        for (size_t at = text.find(quote); at != std::string_view::npos; at = text.find(quote)) {
            out.write(text.substr(0, at + 1));
            out.put(quote);
            text.remove_prefix(at + 1);
        }
        out.write(text);
    }

    static void put_quoted(InPlace& out, std::string_view value) {
        out.put('"');
        put_doubled(out, value, '"');
        out.put('"');
    }

    // False for NaN and the infinities. Only a text with a letter in it can be one
    // of them, or can be too big for a double.
    bool finite(int field, std::string_view text) const {
        if (text.find_first_of("eEiInN") == std::string_view::npos) return true;
        return std::isfinite(dbf_field_number(c_.pass.table, field));
    }

    ListingContext c_;
    OutStream& out_;
    const std::vector<FieldFacts> facts_;
    const bool memo_as_text_;
    std::string statement_;  // everything before the values
    enum class Form { Number, Quoted, Logical, MemoText };
    std::vector<Form> forms_;  // by selected field
    bool quick_ = true;        // no rendering holds a quote but where the record does
};

class ProgramSink : public ListingSink {
  public:
    ProgramSink(ListingContext context, OutStream& out)
        : c_(context), out_(out), facts_(field_facts(context)) {}

    bool begin() override {
        out_.print("use %s\n", c_.pass.table.path.c_str());
        return true;
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        // Room for the most a record can take: a memo's lines each add 30 bytes
        // of mark-up, and each holds a byte at least and a line end behind it.
        size_t most = 32;
        for (const FieldValue& value : values)
            most += facts_[static_cast<size_t>(value.field)].name.size() + value.text.size() + 64 +
                    (value.memo ? 16 * value.text.size() : 0);
        InPlace line(out_, most);
        line.write("append blank\nreplace ;\n");
        for (size_t i = 0; i < values.size(); ++i) value(line, values[i], i + 1 == values.size());
    }

    bool record_quick(const QuickValues& values, const RecordFacts&) override {
        size_t most = values.room() + 32;
        for (size_t i = 0; i < values.size(); ++i) most += facts_[static_cast<size_t>(c_.fields[i])].name.size() + 32;
        char* p = out_.room(most);
        const auto put = [&p](std::string_view text) {
            std::memcpy(p, text.data(), text.size());
            p += text.size();
        };
        put("append blank\nreplace ;\n");
        for (size_t i = 0; i < values.size(); ++i) {
            const FieldFacts& f = facts_[static_cast<size_t>(c_.fields[i])];
            *p++ = '\t';
            put(f.name);
            if (f.numeric) {
                put(" with ");
                p = values.put(i, p);
            } else if (f.date) {
                put(" with ctod(\"");
                p = values.put(i, p);
                if (p != nullptr) put("\")");
            } else if (f.memo) {
                put(" with ;\n\t\t\"\"");  // no memo text comes the quick way
            } else if (f.logical) {
                char* const start = p;
                p = values.put(i, p);
                if (p != nullptr) {
                    const bool truth = is_true_letter(p > start ? *start : '\0');
                    p = start;
                    put(truth ? std::string_view(" with .T.") : std::string_view(" with .F."));
                }
            } else {
                put(" with \"");
                p = values.put(i, p);
                if (p != nullptr) *p++ = '"';
            }
            if (p == nullptr) return false;
            put(i + 1 == values.size() ? std::string_view("\n") : std::string_view(", ;\n"));
        }
        out_.commit(p);
        return true;
    }

    void end() override { out_.print("use\t&&\t%s\n\n", c_.pass.table.path.c_str()); }

  private:
    void value(InPlace& line, const FieldValue& value, bool last) {
        const FieldFacts& f = facts_[static_cast<size_t>(value.field)];
        const std::string_view text = value.text;
        line.put('\t');
        line.write(f.name);
        if (f.numeric) {
            line.write(" with ");
            line.write(text);
        } else if (f.date) {
            line.write(" with ctod(\"");
            line.write(text);
            line.write("\")");
        } else if (f.memo) {
            // Without /MEMO:text there is no memo text, and the field gets "".
            line.write(" with ;\n");
            for_each_memo_line(value.memo ? text : std::string_view(), [&](std::string_view memo_line) {
                line.write("\t\t\"");
                line.write(memo_line);
                line.write("\" + chr(13) + chr(10) +;\n");
            });
            line.write("\t\t\"\"");
        } else if (f.logical) {
            if (is_true_letter(text.empty() ? '\0' : text[0]))
                line.write(" with .T.");
            else
                line.write(" with .F.");
        } else {
            line.write(" with \"");
            line.write(text);
            line.put('"');
        }
        if (last)
            line.put('\n');
        else
            line.write(", ;\n");
    }

    ListingContext c_;
    OutStream& out_;
    const std::vector<FieldFacts> facts_;
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
