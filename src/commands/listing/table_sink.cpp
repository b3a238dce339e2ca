// commands/listing/table_sink.cpp
//
// The target of /OUT:name.dbf: a table of its own, opened for one listing and
// closed behind it. An existing file is reused whatever its fields; only a file
// that can't be opened at all is created, with the selected fields. Each rendered
// record becomes one new record of the target, its values going by field name; a
// numeric target takes the source's number. Dates pass between the tables as text,
// rendered by one and parsed by the other in the same date mode.
#include <algorithm>
#include <vector>

#include "commands/listing/sink.h"
#include "table/record_writer.h"

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
        appender_.emplace(*target_);
        return true;
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        DbfTable& source = c_.pass.table;
        DbfTable& target = *target_;
        dbf_blank_record(target);
        for (const FieldValue& value : values) {
            const int index = target_field(value.field);
            if (index < 0) continue;
            // The source field alone decides whether a number goes along.
            double number = dbf_field_is_numeric(source, value.field) ? dbf_field_number(source, value.field) : 0.0;
            text_.assign(value.text);  // the stores take a C string
            (void)dbf_field_set(target, index, text_.c_str(), number);  // what does not fit stays blank
        }
        // A target that takes no record shows it by its count; the listing goes on.
        (void)appender_->add();
    }

    void end() override {
        (void)appender_->finish();  // the target's header tells what arrived
        appender_.reset();
        dbf_close(*target_);
    }

  private:
    // The target's field of the source field's name, found once; -1 if it has none.
    int target_field(int source_field) {
        if (target_fields_.empty()) target_fields_.assign(static_cast<size_t>(c_.pass.table.field_count), -2);
        int& index = target_fields_[static_cast<size_t>(source_field)];
        if (index == -2) index = dbf_find_field(*target_, dbf_field_name(c_.pass.table, source_field).c_str());
        return index;
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
    std::optional<RecordAppender> appender_;  // while the target is open
    std::vector<int> target_fields_;          // by source field; -2 until looked up
    std::string text_;
};

}  // namespace

std::unique_ptr<ListingSink> make_table_sink(ListingContext context) { return std::make_unique<TableSink>(context); }
