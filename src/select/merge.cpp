// select/merge.cpp
#include "select/merge.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

// Names tried for one run file before the sort gives up on the disk.
constexpr size_t kNameAttempts = 1000;

// Record bytes of a run file around the text and the payload: length and element.
constexpr size_t kRecordFrame = 2 + 4;

// Writes the records of one run file in blocks.
class RunWriter {
  public:
    RunWriter(File& file, size_t payload_size) : file_(file), payload_size_(payload_size) {}

    // Appends a record; false if a block could not be written.
    bool put(const SortRecord& record) {
        size_t bytes = kRecordFrame + record.length + payload_size_;
        if (buffer_.size() + bytes > kRunBlock && !flush()) return false;
        const uint16_t length = static_cast<uint16_t>(record.length);
        const int32_t element = record.element;
        append(&length, 2);
        append(record.text, record.length);
        append(&element, 4);
        if (payload_size_ > 0) append(record.payload, payload_size_);
        ++records_;
        return true;
    }

    // Writes what is left; false if it could not be written, now or before.
    bool flush() {
        if (!ok_) return false;
        if (!buffer_.empty()) {
            ok_ = file_.write_all(buffer_.data(), buffer_.size(), offset_);
            offset_ += static_cast<int64_t>(buffer_.size());
            buffer_.clear();
        }
        return ok_;
    }

    uint64_t records() const { return records_; }
    uint64_t bytes() const { return static_cast<uint64_t>(offset_); }

  private:
    void append(const void* bytes, size_t count) {
        const auto* from = static_cast<const uint8_t*>(bytes);
        buffer_.insert(buffer_.end(), from, from + count);
    }

    File& file_;
    size_t payload_size_;
    std::vector<uint8_t> buffer_;
    int64_t offset_ = 0;
    uint64_t records_ = 0;
    bool ok_ = true;
};

// One input of a merge: a run file read in blocks, or the run in memory.
class MergeSource {
  public:
    // The run in memory, in the order of `descending`.
    MergeSource(const SortRun& run, bool descending) : run_(&run), descending_(descending) {}
    // A run file, opened through `fs`.
    MergeSource(FileSystem& fs, const RunFile& file, size_t payload_size)
        : path(file.path), file_(fs.open_read(file.path)), expected_(file.records), payload_size_(payload_size) {
        failed_ = !file_.is_open();
        // A small file is read whole; a record never needs more than a block.
        if (!failed_) buffer_.resize(static_cast<size_t>(std::min<uint64_t>(file.bytes, kRunBlock)));
    }

    // Steps to the next record; false at the end or on a failure (failed()).
    bool next() {
        if (run_ != nullptr) {
            if (taken_ == run_->size()) return false;
            current = run_->at(rank(taken_));
            if (taken_ + kAhead < run_->size()) run_->prefetch(rank(taken_ + kAhead));
            ++taken_;
            return true;
        }
        if (failed_) return false;
        if (!have(2)) return end_of_file();
        uint16_t length;
        std::memcpy(&length, buffer_.data() + at_, 2);
        const size_t bytes = kRecordFrame + length + payload_size_;
        if (length > kMaxKeyText || !have(bytes) || taken_ == expected_) return broken();
        const uint8_t* record = buffer_.data() + at_;
        current.text = reinterpret_cast<const char*>(record + 2);
        current.length = length;
        std::memcpy(&current.element, record + 2 + length, 4);
        current.payload = record + kRecordFrame + length;
        at_ += bytes;
        ++taken_;
        return true;
    }

    bool failed() const { return failed_; }

    std::string path;  // of the run file; empty for the run in memory
    SortRecord current;

  private:
    // Records of the run in memory are fetched this far ahead of their turn: they lie
    // anywhere in its arena.
    static constexpr size_t kAhead = 8;

    size_t rank(uint64_t taken) const {
        return static_cast<size_t>(descending_ ? run_->size() - 1 - taken : taken);
    }

    // True if `bytes` bytes stand in the buffer from `at_` on, after reading more if
    // need be. The record in hand stays valid until then.
    bool have(size_t bytes) {
        if (filled_ - at_ >= bytes) return true;
        std::memmove(buffer_.data(), buffer_.data() + at_, filled_ - at_);
        filled_ -= at_;
        at_ = 0;
        while (filled_ < bytes) {
            int64_t got = file_.read_at(buffer_.data() + filled_, buffer_.size() - filled_, offset_);
            if (got < 0) {
                failed_ = true;
                return false;
            }
            if (got == 0) return false;
            offset_ += got;
            filled_ += static_cast<size_t>(got);
        }
        return true;
    }

    // The file ended: cleanly if it ended between records and held them all.
    bool end_of_file() {
        if (filled_ != at_ || taken_ != expected_) failed_ = true;
        return false;
    }

    bool broken() {
        failed_ = true;
        return false;
    }

    const SortRun* run_ = nullptr;
    bool descending_ = false;
    File file_;
    uint64_t expected_ = 0;
    size_t payload_size_ = 0;
    std::vector<uint8_t> buffer_;
    size_t at_ = 0;
    size_t filled_ = 0;
    int64_t offset_ = 0;
    uint64_t taken_ = 0;
    bool failed_ = false;
};

// A run file being written, removed unless it was kept.
struct PendingFile {
    FileSystem& fs;
    std::string path;
    bool keep = false;
    ~PendingFile() {
        if (!keep && !path.empty()) fs.remove(path);
    }
};

void sift_down(std::vector<MergeSource*>& heap, size_t at, bool descending) {
    auto before = [descending](const MergeSource* a, const MergeSource* b) {
        int c = compare_keys(a->current, b->current);
        return descending ? c > 0 : c < 0;
    };
    const size_t size = heap.size();
    for (;;) {
        size_t child = 2 * at + 1;
        if (child >= size) return;
        if (child + 1 < size && before(heap[child + 1], heap[child])) ++child;
        if (!before(heap[child], heap[at])) return;
        std::swap(heap[child], heap[at]);
        at = child;
    }
}

// Merges `sources` into `take`, the least key first (the greatest with
// `descending`). False if `take` refused a record or a source failed; the failed
// source's path goes to `failed`.
template <class Take>
bool merge_sources(std::vector<std::unique_ptr<MergeSource>>& sources, bool descending, Progress* progress,
                   const Take& take, std::string& failed) {
    std::vector<MergeSource*> heap;
    for (auto& source : sources) {
        if (source->next()) {
            heap.push_back(source.get());
        } else if (source->failed()) {
            failed = source->path;
            return false;
        }
    }
    for (size_t i = heap.size() / 2; i-- > 0;) sift_down(heap, i, descending);
    uint64_t done = 0;
    while (!heap.empty()) {
        MergeSource* top = heap[0];
        if (!take(top->current)) return false;
        if (progress != nullptr) progress->advance(++done);
        if (!top->next()) {
            if (top->failed()) {
                failed = top->path;
                return false;
            }
            heap[0] = heap.back();
            heap.pop_back();
        }
        sift_down(heap, 0, descending);
    }
    return true;
}

}  // namespace

KeySorter::KeySorter(FileSystem& fs, SortOptions options)
    : fs_(fs), options_(std::move(options)), run_(options_.memory_limit, options_.payload_size) {}

KeySorter::~KeySorter() {
    for (const RunFile& run : runs_) fs_.remove(run.path);
}

bool KeySorter::fail(SortFailure failure, const std::string& path) {
    if (failure_ == SortFailure::None) {
        failure_ = failure;
        failed_path_ = path;
    }
    return false;
}

void KeySorter::remove_run(const RunFile& run) { fs_.remove(run.path); }

bool KeySorter::add(const char* text, size_t length, int32_t element, const uint8_t* payload, size_t remaining) {
    if (failure_ != SortFailure::None) return false;
    if (run_.add(text, length, element, payload, remaining)) return true;
    if (!spill()) {
        if (failure_ != SortFailure::None) return false;
        run_.set_unbounded();  // the disk refused the run: memory takes the rest
    }
    if (run_.add(text, length, element, payload, remaining)) return true;
    return fail(SortFailure::CantWrite, options_.file_stem);
}

bool KeySorter::create_run_file(RunFile& run, File& file) {
    std::string first;
    for (size_t attempt = 0; attempt < kNameAttempts; ++attempt) {
        run.path = options_.file_stem + ".sort" + std::to_string(next_name_++);
        if (first.empty()) first = run.path;
        file = fs_.create_new(run.path);
        if (file.is_open()) return true;
    }
    run.path = first;
    return false;
}

// Writes the run in memory to a new run file and empties it. False if the file
// could not be written: with memory_when_disk_fails the run stays as it was, and
// no later run is written; otherwise the sort fails.
bool KeySorter::spill() {
    if (!spilling_) return false;
    run_.sort();
    RunFile run;
    File file;
    bool written = create_run_file(run, file);
    PendingFile pending{fs_, written ? run.path : std::string()};
    if (written) {
        RunWriter writer(file, options_.payload_size);
        const size_t count = run_.size();
        auto rank = [&](size_t i) { return options_.descending ? count - 1 - i : i; };
        for (size_t i = 0; i < count && written; ++i) {
            if (i + 8 < count) run_.prefetch(rank(i + 8));
            written = writer.put(run_.at(rank(i)));
        }
        written = written && writer.flush();
        run.records = writer.records();
        run.bytes = writer.bytes();
        file.close();
    }
    if (!written) {
        spilling_ = false;
        if (!options_.memory_when_disk_fails) fail(SortFailure::CantWrite, run.path);
        return false;
    }
    runs_.push_back(run);
    pending.keep = true;
    ++files_written_;
    run_.clear();
    return true;
}

// Merges the first `count` run files into one. False if that failed: the inputs
// stay; the sort fails unless memory_when_disk_fails and the disk refused the new file.
bool KeySorter::merge_into_file(size_t count) {
    RunFile out;
    File file;
    if (!create_run_file(out, file)) {
        if (options_.memory_when_disk_fails) return false;
        return fail(SortFailure::CantWrite, out.path);
    }
    PendingFile pending{fs_, out.path};
    std::vector<std::unique_ptr<MergeSource>> sources;
    uint64_t records = 0;
    for (size_t i = 0; i < count; ++i) {
        sources.push_back(std::make_unique<MergeSource>(fs_, runs_[i], options_.payload_size));
        records += runs_[i].records;
    }
    if (options_.progress != nullptr) options_.progress->stage("merging runs", records);
    RunWriter writer(file, options_.payload_size);
    std::string failed;
    bool merged = merge_sources(sources, options_.descending, options_.progress,
                                [&writer](const SortRecord& record) { return writer.put(record); }, failed);
    merged = merged && writer.flush();
    out.records = writer.records();
    out.bytes = writer.bytes();
    file.close();
    sources.clear();
    if (!failed.empty()) return fail(SortFailure::CantRead, failed);
    if (!merged) {
        if (options_.memory_when_disk_fails) return false;
        return fail(SortFailure::CantWrite, out.path);
    }
    for (size_t i = 0; i < count; ++i) remove_run(runs_[i]);
    runs_.erase(runs_.begin(), runs_.begin() + static_cast<std::ptrdiff_t>(count));
    runs_.push_back(out);
    pending.keep = true;
    ++files_written_;
    return true;
}

bool KeySorter::finish(SortSink& sink) {
    if (failure_ != SortFailure::None) return false;
    Progress* progress = options_.progress;
    if (progress != nullptr) progress->stage("sorting", 0);
    run_.sort();
    // Passes that leave at most kMergeFanIn inputs, the run in memory one of them. A
    // disk that refuses the bigger runs leaves them all to the last pass.
    while (runs_.size() + 1 > kMergeFanIn) {
        if (!merge_into_file(kMergeFanIn)) {
            if (failure_ != SortFailure::None) return false;
            break;
        }
    }
    std::vector<std::unique_ptr<MergeSource>> sources;
    uint64_t records = run_.size();
    for (const RunFile& run : runs_) {
        sources.push_back(std::make_unique<MergeSource>(fs_, run, options_.payload_size));
        records += run.records;
    }
    sources.push_back(std::make_unique<MergeSource>(run_, options_.descending));
    if (progress != nullptr) progress->stage(runs_.empty() ? "sorting" : "merging", records);
    std::string failed;
    bool merged = merge_sources(
        sources, options_.descending, progress,
        [&sink](const SortRecord& record) { return sink.take(record.element, record.payload); }, failed);
    sources.clear();
    for (const RunFile& run : runs_) remove_run(run);
    runs_.clear();
    run_.clear();
    if (!failed.empty()) return fail(SortFailure::CantRead, failed);
    return merged;
}
