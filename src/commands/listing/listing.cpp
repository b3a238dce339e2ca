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

#include <algorithm>
#include <cstring>
#include <strings.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "commands/listing/sink.h"
#include "io/progress.h"
#include "table/field_render.h"
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

// Byte ranges of the record buffer, merged where they touch, looked through for
// NUL and CR bytes eight at a time.
class ByteScan {
  public:
    void add(std::pair<size_t, size_t> range) {
        if (range.first < range.second) ranges_.push_back(range);
    }
    void merge() {
        std::sort(ranges_.begin(), ranges_.end());
        std::vector<std::pair<size_t, size_t>> merged;
        for (const auto& r : ranges_) {
            if (!merged.empty() && r.first <= merged.back().second)
                merged.back().second = std::max(merged.back().second, r.second);
            else
                merged.push_back(r);
        }
        ranges_ = std::move(merged);
    }
    // Whether the ranges of `bytes` hold a NUL, a CR, a double quote, a byte beyond ASCII.
    void look(const uint8_t* bytes, bool& nul, bool& cr, bool& quote, bool& high) const {
        constexpr uint64_t kOnes = 0x0101010101010101u, kHighs = 0x8080808080808080u;
        constexpr uint64_t kCrs = 0x0D0D0D0D0D0D0D0Du, kQuotes = 0x2222222222222222u;
        auto zero_bytes = [](uint64_t x) { return (x - kOnes) & ~x & kHighs; };
        uint64_t nuls = 0, crs = 0, quotes = 0, highs = 0;
        for (const auto& [first, last] : ranges_) {
            size_t i = first;
#if defined(__SSE2__)
            // Sixteen bytes at a time where the buffer goes on for sixteen more.
            if (last + 16 <= kRecordBufferSize) {
                const __m128i zero = _mm_setzero_si128(), crs16 = _mm_set1_epi8('\r'), quotes16 = _mm_set1_epi8('"');
                for (; i < last; i += 16) {
                    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
                    const uint32_t in = last - i >= 16 ? 0xFFFFu : (1u << (last - i)) - 1;
                    nuls |= static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero))) & in;
                    crs |= static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, crs16))) & in;
                    quotes |= static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, quotes16))) & in;
                    highs |= static_cast<uint32_t>(_mm_movemask_epi8(v)) & in;
                }
                continue;
            }
#endif
            for (; i + 8 <= last; i += 8) {
                uint64_t word;
                std::memcpy(&word, bytes + i, 8);
                nuls |= zero_bytes(word);
                crs |= zero_bytes(word ^ kCrs);
                quotes |= zero_bytes(word ^ kQuotes);
                highs |= word & kHighs;
            }
            for (; i < last; ++i) {
                nuls |= bytes[i] == 0;
                crs |= bytes[i] == '\r';
                quotes |= bytes[i] == '"';
                highs |= bytes[i] >= 0x80;
            }
        }
        nul = nuls != 0;
        cr = crs != 0;
        quote = quotes != 0;
        high = highs != 0;
    }

  private:
    std::vector<std::pair<size_t, size_t>> ranges_;
};

// Whether the bytes are all blanks; looked at whole, with no guess about where a
// blank ends.
bool blank(std::pair<const uint8_t*, size_t> bytes) {
    unsigned others = 0;
    for (size_t i = 0; i < bytes.second; ++i) others |= bytes.first[i] ^ ' ';
    return others == 0;
}

// The walk of one listing: every field rendered (table/field_render.h), a memo
// under /MEMO:text (in CSV and JSON Lines, every memo of type M) read whole, each
// converted to UTF-8 under /UTF8 or to OEM text where the table is ANSI, and the
// record handed to the sink.
class Walk {
  public:
    Walk(Pass& pass, ListingSink& sink, const std::vector<int32_t>& fields, TextCodec* utf8)
        : table_(pass.table), sink_(sink), utf8_(utf8),
          // Listings are OEM text; only HTML converts, the other way, after its mark-up.
          to_oem_(utf8 == nullptr && table_.settings.ansi_text && pass.run.output.kind != OutputKind::Html),
          quick_allowed_(pass.run.settings.quick_listings) {
        const OutputKind kind = pass.run.output.kind;
        const bool data = kind == OutputKind::Csv || kind == OutputKind::JsonLines;
        const size_t count = fields.size();
        columns_.reserve(count);
        values_.resize(count);
        for (size_t i = 0; i < count; ++i) {
            const int field = fields[i];
            const char type = table_.fields[static_cast<size_t>(field)].type;
            Use use = Use::Rendered;
            // CSV and JSON Lines hold memo texts in full, whatever /MEMO says, and no
            // binary memos.
            if (data ? type == 'M' : pass.run.settings.memo_as_text && dbf_field_is_memo(table_, field))
                use = Use::MemoText;
            else if (!to_oem_ && sink.takes_stored(field))
                use = Use::Stored;
            // Numbers, dates and logicals are ASCII as rendered: only text goes to UTF-8.
            const bool ascii = dbf_field_is_numeric(table_, field) || type == 'D' || type == 'T' || type == 'L';
            columns_.emplace_back(table_, field, use, utf8 != nullptr && !ascii);
            values_[i].field = field;
            values_[i].stored = use == Use::Stored;
            if (use == Use::Rendered) scan_.add(columns_.back().renderer.raw_range());
        }
        scan_.merge();
        // Character sets of the settings file may turn any byte into a CR or a quote;
        // UTF-8 is looked through whole.
        any_byte_ = utf8 != nullptr || (to_oem_ && table_.settings.conversion != nullptr);
        // Renderings as they are, not converted, can go to the sink in one pass.
        bool quick = !to_oem_ && quick_allowed_;
        size_t room = 0;
        for (const Column& column : columns_) {
            quick = quick && column.use == Use::Rendered && !column.to_utf8;
            quick_renderers_.push_back(&column.renderer);
            room += column.renderer.quick_room();
        }
        if (quick) quick_.emplace(quick_renderers_, room);
        // CSV takes a record of ASCII text and blank memos from the record buffer
        // (and declines the fields it can't take so). The scan looks through the
        // text fields; a memo's blank block number must be in the record.
        stored_ = quick_allowed_ && kind == OutputKind::Csv && utf8 != nullptr && utf8->ascii_passes();
        for (size_t i = 0; i < count; ++i) {
            const Column& column = columns_[i];
            if (column.use == Use::MemoText) stored_ = stored_ && column.blank_means_none;
            if (table_.fields[static_cast<size_t>(fields[i])].type == 'C') stored_ = stored_ && column.raw;
        }
    }

    void record(int32_t position) {
        // A failed read leaves the record before it in the buffer; that is rendered.
        (void)dbf_read_record(table_, position);
        bool nul = false, cr = false, quote = false, high = false;
        scan_.look(table_.record.data(), nul, cr, quote, high);
        // Renderings of ASCII bytes need no conversion to UTF-8 where ASCII is its own form.
        const bool ascii = !high && utf8_ != nullptr && utf8_->ascii_passes() && quick_allowed_;
        facts_.may_hold_cr = any_byte_ || cr;
        facts_.may_hold_quote = any_byte_ || quote;
        facts_.may_hold_high = any_byte_ || high;
        if (quick_ && !nul) {
            quick_->set_record(table_.record.data());
            if (sink_.record_quick(*quick_, facts_)) return;
        }
        if (stored_ && !nul && !high && memos_blank() && sink_.record_stored()) return;
        const size_t count = values_.size();
        size_t text_bytes = 0;
        for (size_t i = 0; i < count; ++i) {
            FieldValue& value = values_[i];
            Column& column = columns_[i];
            value.memo = false;
            switch (column.use) {
                case Use::MemoText: {
                    std::optional<std::string>& memo = column.memo_text;
                    if (column.blank_means_none && quick_allowed_ && blank(column.block_digits)) {
                        memo.reset();  // blanks name no block
                    } else {
                        memo = dbf_memo_read(table_, value.field);
                    }
                    table_.value[0] = '\0';
                    value.memo = memo.has_value();
                    value.text = memo ? std::string_view(*memo) : std::string_view();
                    if (!memo) continue;
                    if (utf8_ != nullptr) {
                        column.converted.clear();
                        utf8_->to_utf8(*memo, column.converted);
                        value.text = column.converted;
                    } else if (to_oem_) {
                        convert_ansi_to_oem(table_, memo->data());
                    }
                    text_bytes += value.text.size();
                    continue;
                }
                case Use::Stored:
                    value.text = std::string_view();  // the sink reads the record buffer
                    continue;
                case Use::Rendered:
                    break;
            }
            value.text = column.renderer.render(table_, nul);
            if (column.to_utf8 && !(ascii && column.raw)) {
                column.converted.clear();
                utf8_->to_utf8(value.text, column.converted);
                value.text = column.converted;
            } else if (to_oem_) {
                column.converted.assign(value.text);
                convert_ansi_to_oem(table_, column.converted.data());
                value.text = column.converted;
            }
            text_bytes += value.text.size();
        }
        facts_.text_bytes = text_bytes;
        sink_.record(values_, facts_);
    }

  private:
    // Where a value comes from.
    enum class Use { Rendered, MemoText, Stored };

    // Whether every memo text of the record is none: its block number is blanks.
    bool memos_blank() const {
        for (const Column& column : columns_)
            if (column.use == Use::MemoText && !blank(column.block_digits)) return false;
        return true;
    }

    // One selected field and the room its value takes.
    struct Column {
        Column(const DbfTable& table, int field, Use use, bool to_utf8)
            : renderer(table, field), use(use), to_utf8(to_utf8),
              raw(renderer.raw_range().first < renderer.raw_range().second) {
            const FieldDesc& desc = table.fields[static_cast<size_t>(field)];
            const uint8_t* digits = dbf_field_ptr(table, field, desc.length);
            if (digits != nullptr && dbf_wide_length(desc) != 4) {
                block_digits = {digits, desc.length};
                blank_means_none = true;
            }
        }
        FieldRenderer renderer;
        Use use;
        bool to_utf8;  // the rendering goes to UTF-8
        bool raw;      // the rendering is the field's own bytes, which the scan looks through
        // A memo's block number in digits, in the record buffer: blanks there name no block.
        bool blank_means_none = false;
        std::pair<const uint8_t*, size_t> block_digits{nullptr, 0};
        std::optional<std::string> memo_text;
        std::string converted;
    };

    DbfTable& table_;
    ListingSink& sink_;
    TextCodec* utf8_;  // values go to the sink in UTF-8; null: as the table holds them (or OEM)
    const bool to_oem_;
    const bool quick_allowed_;  // the quick ways may be taken
    bool any_byte_ = false;
    std::vector<Column> columns_;
    ByteScan scan_;  // the bytes the renderings take as they are
    std::vector<FieldValue> values_;
    RecordFacts facts_;
    std::vector<const FieldRenderer*> quick_renderers_;
    std::optional<QuickValues> quick_;  // when every value can come quickly
    bool stored_ = false;               // the sink may take records from the record buffer
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
            pass.run.output_failed = true;
            return;
        }
        fresh = opened.size() == 0;
        file.emplace(std::move(opened));
    }
    const std::vector<std::string> names = listed_names(table, utf8);
    std::unique_ptr<ListingSink> sink =
        make_sink(ListingContext{pass, fields, names, utf8, fresh}, file ? *file : pass.out);
    if (!sink->begin()) {
        pass.run.output_failed = true;
        return;
    }

    // HTML converts its cells itself, after the mark-up.
    Walk walk(pass, *sink, fields, output.kind == OutputKind::Html ? nullptr : utf8);
    // A listing into a file shows how far it got on a terminal; one onto the
    // console would only be garbled by it.
    Progress progress(output.kind != OutputKind::Screen ? pass.out.descriptor() : -1, "Listing",
                      pass.run.settings.progress_clock);
    // The records the table has now: a listing into the table itself adds to them.
    const int32_t count = dbf_record_count(table);
    if (!pass.run.ranges) {
        progress.stage("records", static_cast<uint64_t>(count));
        // Through an order, records come from all over the file: each is asked for
        // a few records ahead of its turn.
        constexpr int32_t kAhead = 8;
        for (int32_t i = 0; i < count; ++i) {
            progress.advance(static_cast<uint64_t>(i));
            dbf_prefetch_record(table, i + kAhead);
            walk.record(i);
        }
    } else {
        progress.stage("records", pass.run.ranges->size());
        uint64_t done = 0;
        for (int32_t position : *pass.run.ranges) {
            progress.advance(done++);
            if (position < count) walk.record(position);
        }
    }
    progress.finish();
    sink->end();
    if (file && !file->flush()) pass.run.output_failed = true;
}
