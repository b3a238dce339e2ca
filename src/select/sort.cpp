// select/sort.cpp
//
// A run's memory is sized once, at its first record, from that record's size: most
// keys of a sort are as long as the first. The entries take one block for the
// records the limit allows, the arena what the limit leaves. An arena that fills
// before the entries do grows only while the old and the new block fit the limit
// together, since both live while the records move.
#include "select/sort.h"

#include <algorithm>
#include <cstring>

namespace {

// Buckets smaller than this go to the comparison sort, which beats a pass of 256
// counters on them.
constexpr size_t kSmallBucket = 64;

// The 8 bytes from `from` on, big-endian, zeros behind `length`.
uint64_t bytes_at(const unsigned char* key, size_t length, size_t from) {
    uint64_t value = 0;
    for (size_t i = from; i < from + 8; ++i) value = value << 8 | (i < length ? key[i] : 0u);
    return value;
}

// Key bytes the radix sort goes through before it leaves the rest of a bucket to
// the comparison sort: eight loads of 8 bytes.
constexpr size_t kRadixDepth = 64;

// Sorts by the byte of `bytes` at `shift`, then each bucket by the next byte, in
// place (the records are swapped into their buckets one chain at a time). A bucket
// whose 8 bytes are all alike is loaded with the next 8 bytes of its keys by
// `load`, which is told how far into the keys they lie (`depth`). Small buckets,
// and those still alike past kRadixDepth bytes, go to `less`.
template <class Less, class Load>
void radix_sort(SortRun::Entry* first, size_t count, int shift, size_t depth, const Less& less, const Load& load) {
    for (;;) {
        if (count < kSmallBucket) {
            std::sort(first, first + count, less);
            return;
        }
        if (shift < 0) {
            depth += 8;
            if (depth >= kRadixDepth) {
                std::sort(first, first + count, less);
                return;
            }
            for (size_t i = 0; i < count; ++i) load(first[i], depth);
            shift = 56;
        }
        size_t sizes[256] = {};
        for (size_t i = 0; i < count; ++i) ++sizes[(first[i].bytes >> shift) & 0xFF];
        if (sizes[(first[0].bytes >> shift) & 0xFF] == count) {
            shift -= 8;  // one bucket: the next byte decides
            continue;
        }
        size_t next[256], end[256];
        size_t at = 0;
        for (int b = 0; b < 256; ++b) {
            next[b] = at;
            at += sizes[b];
            end[b] = at;
        }
        for (int b = 0; b < 256; ++b) {
            while (next[b] < end[b]) {
                SortRun::Entry moving = first[next[b]];
                int digit = static_cast<int>((moving.bytes >> shift) & 0xFF);
                while (digit != b) {
                    std::swap(moving, first[next[digit]++]);
                    digit = static_cast<int>((moving.bytes >> shift) & 0xFF);
                }
                first[next[b]++] = moving;
            }
        }
        size_t start = 0;
        for (int b = 0; b < 256; ++b) {
            if (sizes[b] > 1) radix_sort(first + start, sizes[b], shift - 8, depth, less, load);
            start += sizes[b];
        }
        return;
    }
}

}  // namespace

void element_digits(int32_t element, char (&digits)[10]) {
    uint32_t value = element < 0 ? 0u : static_cast<uint32_t>(element);
    int at = 10;
    do {
        digits[--at] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 && at > 0);
    while (at > 0) digits[--at] = ' ';
}

int compare_keys(const SortRecord& a, const SortRecord& b) {
    size_t common = std::min(a.length, b.length);
    // Most keys are short: a loop beats the call.
    if (common <= 16) {
        for (size_t i = 0; i < common; ++i) {
            auto ca = static_cast<unsigned char>(a.text[i]), cb = static_cast<unsigned char>(b.text[i]);
            if (ca != cb) return ca < cb ? -1 : 1;
        }
    } else if (int r = std::memcmp(a.text, b.text, common); r != 0) {
        return r;
    }
    if (a.length == b.length) return (a.element > b.element) - (a.element < b.element);
    // One text is the start of the other: from here on the shorter key's digits meet
    // the rest of the longer one's text.
    char digits_a[10], digits_b[10];
    element_digits(a.element, digits_a);
    element_digits(b.element, digits_b);
    size_t end_a = a.length + 10, end_b = b.length + 10;
    for (size_t i = common; i < end_a && i < end_b; ++i) {
        auto ca = static_cast<unsigned char>(i < a.length ? a.text[i] : digits_a[i - a.length]);
        auto cb = static_cast<unsigned char>(i < b.length ? b.text[i] : digits_b[i - b.length]);
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    return end_a < end_b ? -1 : end_a > end_b ? 1 : 0;
}

SortRun::SortRun(size_t limit, size_t payload_size) : limit_(limit), payload_size_(payload_size) {}

bool SortRun::make_room(size_t record_bytes, size_t remaining) {
    const size_t most = UINT32_MAX;  // offsets are 32 bits
    size_t used = arena_.size();
    if (record_bytes > most - used) return false;
    size_t need = used + record_bytes;
    if (entries_.empty()) {
        size_t per_record = sizeof(Entry) + record_bytes;
        size_t records = remaining == 0 ? 1 : remaining;
        if (bounded_) records = std::clamp<size_t>(limit_ / per_record, 1, records);
        entries_.reserve(records);
        size_t entry_bytes = records * sizeof(Entry);
        arena_budget_ = bounded_ && limit_ > entry_bytes ? limit_ - entry_bytes : 0;
        arena_budget_ = std::min(std::max(arena_budget_, record_bytes), most);
        size_t foreseen = records > arena_budget_ / record_bytes ? arena_budget_ : records * record_bytes;
        arena_.reserve(std::max(foreseen, need));
        return true;
    }
    if (!bounded_) {
        arena_.reserve(std::max(need, std::min(most, arena_.capacity() * 2)));
        return true;
    }
    size_t capacity = arena_.capacity();
    if (capacity >= arena_budget_) return false;
    size_t grown = std::min(std::max(need, capacity * 2), arena_budget_ - capacity);
    if (grown < need) return false;
    arena_.reserve(grown);
    return true;
}

bool SortRun::add(const char* text, size_t length, int32_t element, const uint8_t* payload, size_t remaining) {
    if (length > kMaxKeyText) length = kMaxKeyText;
    const size_t record_bytes = 2 + length + payload_size_;
    if (bounded_ && !entries_.empty() && entries_.size() == entries_.capacity()) return false;
    if (entries_.empty() || arena_.size() + record_bytes > arena_.capacity()) {
        if (!make_room(record_bytes, remaining)) return false;
    }
    size_t offset = arena_.size();
    arena_.resize(offset + record_bytes);
    char* at = arena_.data() + offset;
    const uint16_t stored = static_cast<uint16_t>(length);
    std::memcpy(at, &stored, 2);
    std::memcpy(at + 2, text, length);
    if (payload_size_ > 0) std::memcpy(at + 2 + length, payload, payload_size_);
    if (entries_.empty()) {
        text_length_ = length;
        same_length_ = true;
        shared_ = length;
        first_offset_ = offset;
    } else {
        if (length != text_length_) same_length_ = false;
        const char* first = arena_.data() + first_offset_ + 2;
        size_t reach = std::min(shared_, length);
        size_t i = 0;
        while (i < reach && first[i] == text[i]) ++i;
        shared_ = i;
    }
    entries_.push_back(Entry{0, static_cast<uint32_t>(offset), element});
    return true;
}

uint64_t SortRun::key_bytes(const Entry& entry, size_t depth) const {
    SortRecord record = at_offset(entry);
    // The key from the shared prefix on: the rest of the text, then the element,
    // big-endian where all texts are of one length, else in "%10d".
    unsigned char key[8 + 10];
    size_t from = shared_ + depth;
    size_t take = from < record.length ? std::min<size_t>(record.length - from, 8) : 0;
    std::memcpy(key, record.text + from, take);
    size_t length = take;
    if (take < 8) {
        size_t skip = from > record.length ? from - record.length : 0;  // of the element's bytes
        unsigned char element[10];
        size_t element_length;
        if (same_length_) {
            uint32_t e = static_cast<uint32_t>(record.element);
            element[0] = static_cast<unsigned char>(e >> 24);
            element[1] = static_cast<unsigned char>(e >> 16);
            element[2] = static_cast<unsigned char>(e >> 8);
            element[3] = static_cast<unsigned char>(e);
            element_length = 4;
        } else {
            char digits[10];
            element_digits(record.element, digits);
            std::memcpy(element, digits, 10);
            element_length = 10;
        }
        if (skip < element_length) {
            size_t more = std::min(element_length - skip, 8 - take);
            std::memcpy(key + length, element + skip, more);
            length += more;
        }
    }
    return bytes_at(key, length, 0);
}

void SortRun::sort() {
    if (entries_.size() < 2) return;
    for (Entry& entry : entries_) entry.bytes = key_bytes(entry, 0);
    auto load = [this](Entry& entry, size_t depth) { entry.bytes = key_bytes(entry, depth); };
    if (same_length_) {
        // Equal bytes leave the text beyond them, then the element.
        const size_t from = shared_ + 8;
        const size_t rest = text_length_ > from ? text_length_ - from : 0;
        const char* arena = arena_.data();
        auto less = [arena, from, rest](const Entry& a, const Entry& b) {
            if (a.bytes != b.bytes) return a.bytes < b.bytes;
            if (rest > 0) {
                int r = std::memcmp(arena + a.offset + 2 + from, arena + b.offset + 2 + from, rest);
                if (r != 0) return r < 0;
            }
            return a.element < b.element;
        };
        radix_sort(entries_.data(), entries_.size(), 56, 0, less, load);
    } else {
        auto less = [this](const Entry& a, const Entry& b) {
            if (a.bytes != b.bytes) return a.bytes < b.bytes;
            return compare_keys(at_offset(a), at_offset(b)) < 0;
        };
        radix_sort(entries_.data(), entries_.size(), 56, 0, less, load);
    }
}

SortRecord SortRun::at(size_t rank) const { return at_offset(entries_[rank]); }

SortRecord SortRun::at_offset(const Entry& entry) const {
    const char* at = arena_.data() + entry.offset;
    uint16_t length;
    std::memcpy(&length, at, 2);
    return SortRecord{at + 2, length, entry.element,
                      reinterpret_cast<const uint8_t*>(at + 2 + length)};
}

void SortRun::clear() {
    std::vector<char>().swap(arena_);
    std::vector<Entry>().swap(entries_);
    arena_budget_ = 0;
}
