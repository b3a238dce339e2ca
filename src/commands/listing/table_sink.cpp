// commands/listing/table_sink.cpp
//
// The target of /OUT:name.dbf: a table of its own, opened for one listing and
// closed behind it. An existing file is reused whatever its fields; only a file
// that can't be opened at all is created, with the selected fields. Each rendered
// record becomes one new record of the target, its values going by field name; a
// numeric target takes the source's number. Dates pass between the tables as text,
// rendered by one and parsed by the other in the same date mode. Where that round
// trip would give back the source's own bytes (numbers as printf prints them,
// integers, logicals, dates of plain digits), they go over as they stand. The
// target is locked for the whole listing (commands/change.h); a listing of a table
// into itself adds the records the table had when it began.
#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "commands/change.h"
#include "commands/listing/sink.h"
#include "table/field_render.h"
#include "table/number_text.h"
#include "table/record_writer.h"

namespace {

class TableSink : public ListingSink {
  public:
    explicit TableSink(ListingContext context) : c_(context), quick_(context.pass.run.settings.quick_listings) {}

    bool begin() override {
        const std::string& name = *c_.pass.run.output.file_name;
        target_ = open_target(name);
        if (!target_) {
            c_.pass.out.print("Can't open %s\n", name.c_str());
            return false;
        }
        change_.emplace(c_.pass, *target_);
        if (!change_->appends_fit() || (takes_memo() && !change_->memo_writable())) {
            change_.reset();
            dbf_close(*target_);
            return false;
        }
        appender_.emplace(*target_);
        // The blank record, kept: every record starts as a copy of it. Blanking
        // touches the fields alone, and nothing else of the buffer changes while
        // the listing runs.
        DbfTable& target = *target_;
        dbf_blank_record(target);
        size_t span = target.header.record_length;
        for (int field = 0; field < target.field_count; ++field)
            span = std::max(span, static_cast<size_t>(target.fields[static_cast<size_t>(field)].record_offset) +
                                      static_cast<size_t>(dbf_field_width(target, field)));
        span = std::min(span, target.record.size());
        blank_.assign(target.record.begin(), target.record.begin() + static_cast<std::ptrdiff_t>(span));
        for (int32_t field : c_.fields) {
            Pairing& pairing = pairing_of(field);
            if (pairing.copy != Copy::None) pairing.renderer.emplace(c_.pass.table, field);
        }
        return true;
    }

    // Fields copied byte for byte need their rendering only where the copy declines.
    bool takes_stored(int field) const override {
        return pairings_[static_cast<size_t>(field)].copy != Copy::None;
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        DbfTable& source = c_.pass.table;
        DbfTable& target = *target_;
        if (!blank_.empty()) std::memcpy(target.record.data(), blank_.data(), blank_.size());
        for (const FieldValue& value : values) {
            Pairing& pairing = pairings_[static_cast<size_t>(value.field)];
            if (pairing.index < 0) continue;
            if (copy_stored(pairing, source, value.field, target)) continue;
            const std::string_view text = value.stored ? pairing.renderer->render(source) : value.text;
            if (quick_ && pairing.text_width > 0) {
                // A text field takes the text up to its first NUL, as much as it holds.
                const std::string_view cut = text.substr(0, text.find('\0'));
                const size_t count = std::min(cut.size(), pairing.text_width);
                uint8_t* to = dbf_field_ptr(target, pairing.index, static_cast<int>(count));
                if (to != nullptr && count > 0) std::memcpy(to, cut.data(), count);
                continue;
            }
            // The source field alone decides whether a number goes along; only a
            // numeric target takes it.
            double number = pairing.number ? dbf_field_number(source, value.field) : 0.0;
            text_.assign(text);  // the stores take a C string
            (void)dbf_field_set(target, pairing.index, text_.c_str(), number);  // what does not fit stays blank
        }
        // A target that takes no record shows it by its count; the listing goes on,
        // and the run ends with status 1.
        if (!appender_->add()) c_.pass.run.output_failed = true;
    }

    void end() override {
        // The target's header tells what arrived.
        if (!appender_->finish()) c_.pass.run.output_failed = true;
        appender_.reset();
        change_.reset();
        dbf_close(*target_);
    }

  private:
    // How a value may go over byte for byte, where the store would write the same.
    enum class Copy {
        None,
        Decimal,  // N or F fields of one length and the same places, at least one
        Whole,    // N or F fields of one length without places
        Integer,  // I fields of four bytes
        Logical,  // L fields of one byte
        Date,     // D fields of eight bytes, the source rendering dates in their columns
    };

    // Where a source field's values go.
    struct Pairing {
        int index = -2;       // the target's field of the same name, -1 if none; -2 until found
        bool number = false;  // the value goes along as a number too
        Copy copy = Copy::None;
        // The target is a text field this many bytes wide; 0 if it is not one.
        size_t text_width = 0;
        // The source field's rendering where a copy declines.
        std::optional<FieldRenderer> renderer;
    };

    // The value of a copied field straight from the source's bytes; false where
    // the store might write something else, and nothing is written.
    bool copy_stored(const Pairing& pairing, const DbfTable& source, int field, DbfTable& target) const {
        switch (pairing.copy) {
            case Copy::None: return false;
            case Copy::Decimal: return copy_printed(source, field, target, pairing.index);
            case Copy::Whole: return copy_whole(source, field, target, pairing.index);
            case Copy::Integer: return copy_bytes(source, field, target, pairing.index, 4);
            case Copy::Logical: {
                // The store keeps T, F, Y and N in capitals and blanks anything else.
                const uint8_t* from = dbf_field_ptr(source, field, 1);
                uint8_t* to = dbf_field_ptr(target, pairing.index, 1);
                if (from == nullptr || to == nullptr) return false;
                const uint8_t upper = *from >= 'a' && *from <= 'z' ? static_cast<uint8_t>(*from - 32) : *from;
                *to = upper == 'T' || upper == 'F' || upper == 'Y' || upper == 'N' ? upper : ' ';
                return true;
            }
            case Copy::Date: {
                // Rendered in the date mode's columns and read back from them.
                const uint8_t* d = dbf_field_ptr(source, field, 8);
                if (d == nullptr) return false;
                for (int i = 0; i < 8; ++i)
                    if (d[i] < '0' || d[i] > '9') return false;
                const int year = (d[0] - '0') * 1000 + (d[1] - '0') * 100 + (d[2] - '0') * 10 + (d[3] - '0');
                const int month = (d[4] - '0') * 10 + (d[5] - '0'), day = (d[6] - '0') * 10 + (d[7] - '0');
                if (year < 1902 || year > 2037 || year == 1969 || year == 1970 || month < 1 || month > 12 || day < 1 ||
                    day > 31)
                    return false;
                return copy_bytes(source, field, target, pairing.index, 8);
            }
        }
        return false;
    }

    static bool copy_bytes(const DbfTable& source, int field, DbfTable& target, int index, int width) {
        const uint8_t* from = dbf_field_ptr(source, field, width);
        uint8_t* to = dbf_field_ptr(target, index, width);
        if (from == nullptr || to == nullptr) return false;
        std::memcpy(to, from, static_cast<size_t>(width));
        return true;
    }

    // True if a memo field of the target takes the value of a selected field.
    bool takes_memo() {
        for (int source : c_.fields) {
            const int index = pairing_of(source).index;
            if (index >= 0 && target_->fields[static_cast<size_t>(index)].type == 'M') return true;
        }
        return false;
    }

    // number_is_printed_form, all 16 bytes at once where the record buffer holds
    // them behind the field's start.
    static bool printed_form(const DbfTable& source, int field, const uint8_t* from, int width, int decimals) {
        const size_t offset = source.fields[static_cast<size_t>(field)].record_offset;
        if (width <= 16 && offset + 16 <= source.record.size()) return number_is_printed_form_16(from, width, decimals);
        return number_is_printed_form(reinterpret_cast<const char*>(from), width, decimals);
    }

    // A stored number that is already what printf makes of it goes over byte for
    // byte into a field of its shape: the store would print the same digits, and the
    // point stands where it must. Places are needed: a whole number is stored
    // through an int, which drops the sign of a negative zero. False if the number
    // is not in that form.
    static bool copy_printed(const DbfTable& source, int field, DbfTable& target, int index) {
        const int width = source.fields[static_cast<size_t>(field)].length;
        const uint8_t* from = dbf_field_ptr(source, field, width);
        uint8_t* to = dbf_field_ptr(target, index, width);
        if (from == nullptr || to == nullptr) return false;
        if (!printed_form(source, field, from, width, source.fields[static_cast<size_t>(field)].decimals))
            return false;
        std::memcpy(to, from, static_cast<size_t>(width));
        return true;
    }

    // The same for a whole number: one that the store, going through an int, would
    // print back as it stands. Nine digits at most, and no negative zero.
    static bool copy_whole(const DbfTable& source, int field, DbfTable& target, int index) {
        const int width = source.fields[static_cast<size_t>(field)].length;
        const uint8_t* from = dbf_field_ptr(source, field, width);
        uint8_t* to = dbf_field_ptr(target, index, width);
        if (from == nullptr || to == nullptr) return false;
        if (!printed_form(source, field, from, width, 0)) return false;
        int first = width;
        while (first > 0 && from[first - 1] >= '0' && from[first - 1] <= '9') --first;
        const int digits = width - first;
        if (digits > 9) return false;
        if (digits == 1 && from[width - 1] == '0' && first > 0 && from[first - 1] == '-') return false;
        std::memcpy(to, from, static_cast<size_t>(width));
        return true;
    }

    Pairing& pairing_of(int source_field) {
        const DbfTable& source = c_.pass.table;
        if (pairings_.empty()) pairings_.resize(static_cast<size_t>(source.field_count));
        Pairing& pairing = pairings_[static_cast<size_t>(source_field)];
        if (pairing.index == -2) {
            pairing.index = dbf_find_field(*target_, dbf_field_name(source, source_field).c_str());
            const char type = pairing.index >= 0 ? target_->fields[static_cast<size_t>(pairing.index)].type : '\0';
            pairing.number = dbf_field_is_numeric(source, source_field) && type != '\0' &&
                             std::strchr("BFNIY", type) != nullptr;
            if (pairing.index >= 0) {
                const FieldDesc& from = source.fields[static_cast<size_t>(source_field)];
                const FieldDesc& to = target_->fields[static_cast<size_t>(pairing.index)];
                if (to.type == 'C') pairing.text_width = static_cast<size_t>(dbf_wide_length(to));
                if (quick_) pairing.copy = copy_of(source, source_field, from, to);
            }
        }
        return pairing;
    }

    // How values of `from` may go over to `to` byte for byte. Numbers go by their
    // value; logicals and dates of an ANSI table go as their text turned to OEM.
    Copy copy_of(const DbfTable& source, int field, const FieldDesc& from, const FieldDesc& to) const {
        auto decimal = [](char t) { return t == 'N' || t == 'F'; };
        if (decimal(from.type) && decimal(to.type) && from.length == to.length && from.decimals == to.decimals)
            return from.decimals > 0 ? Copy::Decimal : Copy::Whole;
        if (from.type == 'I' && to.type == 'I' && from.length == 4 && to.length == 4) return Copy::Integer;
        if (source.settings.ansi_text) return Copy::None;
        if (from.type == 'L' && to.type == 'L' && from.length == 1 && to.length == 1 && from.decimals == 0 &&
            to.decimals == 0)
            return Copy::Logical;
        if (from.type == 'D' && to.type == 'D' && from.length == 8 && to.length == 8 &&
            FieldRenderer(source, field).dates_in_columns())
            return Copy::Date;
        return Copy::None;
    }

    // Creates the target with the selected fields of the current table. Nothing is
    // made if its memo file would be the current table's own, which creation empties.
    void create_target(const std::string& path) {
        DbfTable& current = c_.pass.table;
        FileSystem& fs = c_.pass.run.fs;
        MemoKind kind = dbf_bind_memo(current);
        if (fs.same_file(dbf_memo_file_name(path, kind), current.memo_path)) return;
        size_t count = std::min(c_.fields.size(), static_cast<size_t>(kMaxFields));
        std::vector<FieldDesc> fields(count);
        for (size_t i = 0; i < count; ++i) {
            int source = c_.fields[i];
            const FieldDesc& desc = current.fields[static_cast<size_t>(source)];
            dbf_fill_field(fields[i], dbf_field_name(current, source).c_str(), desc.type,
                           static_cast<uint16_t>(dbf_wide_length(desc)));
        }
        // A table that could not be made fails to open below.
        (void)dbf_create(fs, path, fields.data(), static_cast<int>(count), kind, dbf_memo_block_size(current), true);
    }

    std::unique_ptr<DbfTable> open_target(const std::string& path) {
        FileSystem& fs = c_.pass.run.fs;
        OpenFailure failure = OpenFailure::None;
        std::unique_ptr<DbfTable> target = dbf_open(fs, path, &failure);
        if (failure == OpenFailure::CantOpen) {
            create_target(path);
            target = dbf_open(fs, path);
        }
        if (target) target->settings.date_mode = c_.pass.table.settings.date_mode;
        return target;
    }

    ListingContext c_;
    const bool quick_;  // values copied byte for byte where the store would write the same
    std::unique_ptr<DbfTable> target_;
    std::optional<TableChange> change_;       // taken before the appender, released after it
    std::optional<RecordAppender> appender_;  // while the target is open
    std::vector<Pairing> pairings_;           // by source field
    std::vector<uint8_t> blank_;
    std::string text_;
};

}  // namespace

std::unique_ptr<ListingSink> make_table_sink(ListingContext context) { return std::make_unique<TableSink>(context); }
