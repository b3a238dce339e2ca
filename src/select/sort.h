// select/sort.h
//
// Records sorted by byte keys, and a run of them held in memory.
//
// A record's key is the text of its key fields, which holds no zero byte, followed
// by the record's element number in "%10d". Keys compare as unsigned bytes, a key
// that is a prefix of another first. No two element numbers are alike, so no two
// keys are equal and the order is the only one the keys allow: any correct sort
// gives it.
//
// The number is kept beside the text as a number, not spelled out: where two texts
// are of one length, the "%10d" digits compare as the numbers do, and only texts of
// different lengths need the digits written out (compare_keys).
//
// A run lays its records end to end in an arena, each as a 16-bit text length, the
// text and the payload (bytes carried along, the same count for every record), and
// sorts entries of 16 bytes: 8 bytes of the key past the prefix every key of the
// run shares, where the keys of a run usually differ, the record's offset in the
// arena and its element. The sort goes by the 8 bytes' values, one byte at a time
// (a radix sort: as fast on sorted, reversed or repeated keys as on shuffled ones),
// loads the next 8 bytes for the keys that share them, and orders what is left
// alike after 64 bytes, and small groups, by comparison (introsort: n log n at most).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The longest text a key may have: a key of 64 KiB less its "%10d" and terminator.
inline constexpr size_t kMaxKeyText = 65536 - 11;

// One record of a sort, as a run or a run file hands it out.
struct SortRecord {
    const char* text = nullptr;
    size_t length = 0;
    int32_t element = 0;
    const uint8_t* payload = nullptr;
};

// Compares the keys of two records as whole keys, text and "%10d" element number:
// negative, zero or positive, like memcmp.
int compare_keys(const SortRecord& a, const SortRecord& b);

// Writes `element` (at least 0) as "%10d" would, without a terminator.
void element_digits(int32_t element, char (&digits)[10]);

class SortRun {
  public:
    // A run whose arena and entries take at most `limit` bytes, for records that
    // carry `payload_size` bytes each.
    SortRun(size_t limit, size_t payload_size);

    // Adds a record whose text is `length` bytes (at most kMaxKeyText); `remaining`
    // is how many records are still to come, this one included, and sizes the run's
    // memory at its first record. False, with nothing added, if the record would
    // pass the limit; an empty run takes any record. A run set unbounded takes all.
    [[nodiscard]] bool add(const char* text, size_t length, int32_t element, const uint8_t* payload,
                           size_t remaining);
    // Lifts the limit: the run grows as far as memory lets it.
    void set_unbounded() { bounded_ = false; }
    // Sorts the records added so far, ascending.
    void sort();
    // Records held.
    size_t size() const { return entries_.size(); }
    // The record of rank `rank` (below size()) after sort().
    SortRecord at(size_t rank) const;
    // Asks the processor to fetch the record of rank `rank`, which will be wanted
    // soon; nothing if there is none.
    void prefetch(size_t rank) const {
        if (rank < entries_.size()) __builtin_prefetch(arena_.data() + entries_[rank].offset);
    }
    // Drops every record and gives back the memory.
    void clear();

    // What the sort keeps beside each record: the key bytes from the shared prefix on,
    // the record's offset in the arena and its element.
    struct Entry {
        uint64_t bytes;
        uint32_t offset;
        int32_t element;
    };

  private:
    bool make_room(size_t record_bytes, size_t remaining);
    // 8 bytes of the key of `entry` from `depth` bytes past the shared prefix on, as
    // the sort compares them (zeros past the key's end).
    uint64_t key_bytes(const Entry& entry, size_t depth) const;
    SortRecord at_offset(const Entry& entry) const;

    size_t limit_;
    size_t payload_size_;
    bool bounded_ = true;
    std::vector<char> arena_;
    std::vector<Entry> entries_;
    size_t arena_budget_ = 0;   // the most the arena may reserve, set at the first record
    size_t text_length_ = 0;    // the length of every text so far, if `same_length_`
    bool same_length_ = true;
    size_t shared_ = 0;         // bytes every text so far begins with
    size_t first_offset_ = 0;   // of the first record, whose text the others are held against
};

static_assert(sizeof(SortRun::Entry) == 16, "entries are 16 bytes");
