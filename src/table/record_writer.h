// table/record_writer.h
//
// Record writes in blocks. A command that adds or changes many records gathers
// them in a writer it owns, and the writer puts them in the file a block at a
// time: a few system calls a megabyte instead of a few a record.
//
// Every block goes out in the same order, so that the file can be read at any
// moment and a run killed between two writes loses nothing a header counts:
//
//   1. the memo texts the block's records name, then the memo header
//      (dbf_memo_flush; texts wait in memory while a writer lives);
//   2. the records of the block, in one write (for appended records, with the
//      end mark behind them);
//   3. for appended records, the table header that counts them.
//
// A killed run may lose the records of the block it was writing; an appended
// record is counted only once it is whole in the file. A write that fails leaves
// the block's records out: texts that can't be written keep their records from
// being written, appended records whose header can't be written are cut off again,
// so that the header and the file always agree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "table/dbf.h"

// Bytes of records (or of waiting memo texts) that make a block.
inline constexpr size_t kRecordBlockBytes = size_t{1} << 20;

// Appends records behind the last one, a block at a time.
class RecordAppender {
  public:
    explicit RecordAppender(DbfTable& table, size_t block_bytes = kRecordBlockBytes);
    // Writes what is gathered, as finish() does, without a word on failure.
    ~RecordAppender();
    RecordAppender(const RecordAppender&) = delete;
    RecordAppender& operator=(const RecordAppender&) = delete;

    // Takes the record buffer as the next new record. False if the table can take
    // no more records, or if a block had to be written and could not: no record of
    // that block is in the file then, and every later add fails too.
    [[nodiscard]] bool add();
    // Writes the records gathered and the header that counts them, and joins them
    // to the table's filter and order; false if they are not in the file.
    [[nodiscard]] bool finish();

  private:
    bool write_block();

    DbfTable& table_;
    size_t block_bytes_;
    std::vector<uint8_t> block_;
    uint32_t gathered_ = 0;
    bool failed_ = false;
    bool gathering_memos_ = true;
};

// Writes records over records already in the file. Writes to adjacent records are
// gathered into runs, each written at once; a record outside the run ends it.
class RecordUpdater {
  public:
    explicit RecordUpdater(DbfTable& table, size_t block_bytes = kRecordBlockBytes);
    // Writes the run, as finish() does, without a word on failure.
    ~RecordUpdater();
    RecordUpdater(const RecordUpdater&) = delete;
    RecordUpdater& operator=(const RecordUpdater&) = delete;

    // Reads visible record `position` into the record buffer as the writes so far
    // left it; false if it isn't all there.
    [[nodiscard]] bool read(int32_t position);
    // Takes the record buffer as the new contents of visible record `position`.
    // False if the record can't be had, or a run had to be written and failed (its
    // records keep what they held).
    [[nodiscard]] bool write(int32_t position);
    // The same for the physical record `number`.
    [[nodiscard]] bool write_physical(int64_t number);
    // Gives visible record `position` the deletion mark `mark` unless it holds it;
    // the record buffer is not touched. False as write.
    [[nodiscard]] bool mark(int32_t position, uint8_t mark);
    // Writes the run; false if it could not.
    [[nodiscard]] bool finish();

  private:
    // The run's copy of physical record `number`, or null.
    uint8_t* in_run(int64_t number);
    // Puts `record` into the run; `changed` false for a record that only fills a gap.
    bool stage(int64_t number, const uint8_t* record, bool changed);
    bool write_run();
    // Notes that the run's copy of record `number` now differs from the file.
    void changed_at(int64_t number);

    DbfTable& table_;
    size_t block_bytes_;
    std::vector<uint8_t> run_;
    std::vector<uint8_t> scratch_;
    int64_t first_ = -1;       // physical number of the run's first record
    size_t count_ = 0;         // records in the run
    size_t unchanged_tail_ = 0;  // records at its end that changed nothing; not written
    bool gathering_memos_ = true;
};
