// commands/change.h
//
// The guard that every command changing a table takes for the time of the change:
// updates, appends, imports, deletes, recalls, pack, truncate, zap, sort, header
// repairs and listings into a table. It holds an exclusive lock on the table file
// and on its memo file (io/file_system.h), so that two runs, or this program and
// another that locks with fcntl, never change one table at the same time. A run
// that only reads takes no lock: it never waits, and reads the table as it stands.
//
// Under the lock the table is brought up to date with its file. A table that
// another run replaced (a sort or a pack renames a new file over it) is opened
// again, keeping its settings, view and record buffer; a pack that a killed run
// left half-way is finished; and where the file's size is not the one this run
// last saw, the record count is taken from the file as it is now, so that an append
// lands behind the records another run appended. (Where the size is the one it saw,
// the count stays as the run's own changes left it: a header whose record length
// disagrees with its fields makes the two differ.)
//
// A run that has to wait says so once, after half a second, naming the process
// that holds the lock where it can be told, and only when standard output is a
// terminal: scripts and files see nothing of it.
#pragma once

#include "commands/run.h"

class TableChange {
  public:
    // Locks `table` (the pass's own, or one the command writes into), waiting as long
    // as another run holds it, and brings it up to date with its file.
    TableChange(Pass& pass, DbfTable& table);
    // Notes the size the change left, so that the next one can tell another run's.
    ~TableChange();
    TableChange(const TableChange&) = delete;
    TableChange& operator=(const TableChange&) = delete;

    // True if records can be appended behind the last one; otherwise says why, once.
    [[nodiscard]] bool appends_fit();
    // True unless the memo file is damaged so that no text can be added; then says
    // why, once. A command that would store memo texts asks before it changes anything.
    [[nodiscard]] bool memo_writable();

  private:
    Pass& pass_;
    DbfTable& table_;
    FileLock table_lock_;
    FileLock memo_lock_;
};
