// commands/listing/table_sink.cpp
//
// The target of /OUT:name.dbf: a table of its own, opened for one listing and
// closed behind it. An existing file is reused whatever its fields; only a file
// that can't be opened at all is created, with the selected fields. Each rendered
// record becomes one new record of the target, its values going by field name; a
// numeric target takes the source's number. Dates pass between the tables as text,
// rendered by one and parsed by the other in the same date mode. The target is
// locked for the whole listing (commands/change.h); a listing of a table into itself
// adds the records the table had when it began.
#include <algorithm>
#include <optional>
#include <vector>

#include "commands/change.h"
#include "commands/listing/sink.h"

namespace {

class TableSink : public ListingSink {
  public:
    explicit TableSink(ListingContext context) : c_(context) {}

    bool begin() override {
        const std::string& name = *c_.pass.run.output.file_name;
        target_ = open_target(name);
        if (!target_) {
            c_.pass.out.print("Can't open %s\n", name.c_str());
            return false;
        }
        change_.emplace(c_.pass, *target_);
        // Each selected field's partner, found once rather than for every record.
        target_of_.assign(static_cast<size_t>(c_.pass.table.field_count), -1);
        for (int source : c_.fields)
            target_of_[static_cast<size_t>(source)] =
                dbf_find_field(*target_, dbf_field_name(c_.pass.table, source).c_str());
        if (!change_->appends_fit() || (takes_memo() && !change_->memo_writable())) {
            end();
            return false;
        }
        // A blank record made once and copied for every record.
        dbf_blank_record(*target_);
        blank_.assign(target_->record.begin(), target_->record.begin() + target_->header.record_length);
        return true;
    }

    void open_record() override { std::copy(blank_.begin(), blank_.end(), target_->record.begin()); }

    void value(int field, const char* text, const std::optional<std::string>&, bool) override {
        DbfTable& source = c_.pass.table;
        DbfTable& target = *target_;
        int index = field >= 0 && static_cast<size_t>(field) < target_of_.size() ? target_of_[field] : -1;
        if (index < 0) return;
        // The source field alone decides whether a number goes along.
        double number = dbf_field_is_numeric(source, field) ? dbf_field_number(source, field) : 0.0;
        (void)dbf_field_set(target, index, text, number);  // what does not fit stays blank
    }

    void close_record() override {
        // A target that takes no record shows it by its count; the listing goes on.
        (void)dbf_append_record(*target_, false);
    }

    void end() override {
        change_.reset();
        dbf_close(*target_);
    }

  private:
    // True if a memo field of the target takes the value of a selected field.
    bool takes_memo() const {
        for (int index : target_of_)
            if (index >= 0 && target_->fields[index].type == 'M') return true;
        return false;
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
    std::unique_ptr<DbfTable> target_;
    std::optional<TableChange> change_;  // released before the target closes
    std::vector<int> target_of_;         // by source field: the target's field of its name, or -1
    std::vector<uint8_t> blank_;         // the target's blank record
};

}  // namespace

std::unique_ptr<ListingSink> make_table_sink(ListingContext context) { return std::make_unique<TableSink>(context); }
