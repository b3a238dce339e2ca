// Writes the benchmark's big dBase III table, larger than 2 GiB at its default size,
// and the text column that `sort` is timed on beside the program's order:
//
//   c++ -O2 -std=c++17 -o make_big_table bench/make_big_table.cpp
//   make_big_table big.dbf 24000000 big.age
//
// Ten fields, 104 bytes a record (24,000,000 records: 2,496,000,354 bytes):
//   NAME C 20, CITY C 15, AGE N 3, QTY N 6, PRICE N 10.2 (some negative), BORN D,
//   ACTIVE L, CODE C 12, RATE N 12.4, NOTE C 16.
// Every 10th record is marked deleted. Values come from a scramble of the record
// number, so that an order on NAME or AGE moves every record. The column file holds
// AGE as "%3d" and a newline, one line a record (the key column `sort` is timed on,
// written here rather than dumped by the program under test). On standard
// output go the figures the benchmark checks the program against:
//   records N
//   live N          records not marked deleted
//   filter N        records with QTY > 400 and NAME starting with "S"
// Exit status 1 with a message on standard error if a file can't be written.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Field {
    const char* name;
    char type;
    int length;
    int decimals;
};

constexpr Field kFields[] = {
    {"NAME", 'C', 20, 0}, {"CITY", 'C', 15, 0}, {"AGE", 'N', 3, 0},   {"QTY", 'N', 6, 0},
    {"PRICE", 'N', 10, 2}, {"BORN", 'D', 8, 0}, {"ACTIVE", 'L', 1, 0}, {"CODE", 'C', 12, 0},
    {"RATE", 'N', 12, 4}, {"NOTE", 'C', 16, 0},
};
constexpr int kFieldCount = sizeof kFields / sizeof kFields[0];
constexpr const char* kSurnames[16] = {"Smith", "Ivanov", "Schmidt", "Garcia", "Rossi", "Novak",
                                       "Silva", "Petrov", "Martin", "Nowak", "Sato", "Kim",
                                       "Stein", "Larsen", "Dubois", "Horvat"};
constexpr const char* kCities[8] = {"Berlin", "Moscow", "Paris", "Lisbon", "Oslo", "Rome", "Vienna", "Sofia"};
constexpr size_t kBlockRecords = 40000;  // 4 MB a write

// Writes `value` as decimal digits ending just before `end`; returns the first digit.
char* put_digits(char* end, uint64_t value) {
    do {
        *--end = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    return end;
}

// A number right-aligned in a field of `width` bytes with `decimals` places, from its
// value scaled by 10^decimals, as "%*.*f" would print it (the width always suffices here).
void put_number(char* field, int width, int64_t scaled, int decimals) {
    std::memset(field, ' ', static_cast<size_t>(width));
    bool negative = scaled < 0;
    uint64_t magnitude = negative ? static_cast<uint64_t>(-scaled) : static_cast<uint64_t>(scaled);
    char* end = field + width;
    for (int d = 0; d < decimals; ++d) {
        *--end = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    }
    if (decimals > 0) *--end = '.';
    char* first = put_digits(end, magnitude);
    if (negative) first[-1] = '-';
}

// Text left-aligned in a field of `width` bytes, padded with blanks.
void put_text(char* field, int width, const char* text, size_t length) {
    std::memset(field, ' ', static_cast<size_t>(width));
    std::memcpy(field, text, length < static_cast<size_t>(width) ? length : static_cast<size_t>(width));
}

bool write_all(FILE* file, const void* data, size_t size) { return std::fwrite(data, 1, size, file) == size; }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "use: make_big_table table.dbf records column.txt\n");
        return 1;
    }
    const uint64_t count = std::strtoull(argv[2], nullptr, 10);
    if (count == 0 || count > UINT32_MAX) {
        std::fprintf(stderr, "records must be 1 .. %u\n", UINT32_MAX);
        return 1;
    }
    FILE* table = std::fopen(argv[1], "wb");
    FILE* column = std::fopen(argv[3], "wb");
    if (table == nullptr || column == nullptr) {
        std::fprintf(stderr, "can't create %s or %s\n", argv[1], argv[3]);
        return 1;
    }

    int record_length = 1;
    for (const Field& f : kFields) record_length += f.length;
    const int header_length = 32 + 32 * kFieldCount + 1;
    unsigned char header[32] = {0x03, 124, 1, 15};
    for (int b = 0; b < 4; ++b) header[4 + b] = static_cast<unsigned char>(count >> (8 * b));
    header[8] = static_cast<unsigned char>(header_length & 0xFF);
    header[9] = static_cast<unsigned char>(header_length >> 8);
    header[10] = static_cast<unsigned char>(record_length & 0xFF);
    header[11] = static_cast<unsigned char>(record_length >> 8);
    bool ok = write_all(table, header, sizeof header);
    for (const Field& f : kFields) {
        unsigned char descriptor[32] = {};
        std::memcpy(descriptor, f.name, std::strlen(f.name));
        descriptor[11] = static_cast<unsigned char>(f.type);
        descriptor[16] = static_cast<unsigned char>(f.length);
        descriptor[17] = static_cast<unsigned char>(f.decimals);
        ok = ok && write_all(table, descriptor, sizeof descriptor);
    }
    ok = ok && write_all(table, "\r", 1);

    std::vector<char> block(kBlockRecords * static_cast<size_t>(record_length));
    std::vector<char> ages(kBlockRecords * 4);
    uint64_t live = 0, filtered = 0;
    char text[32];
    for (uint64_t start = 0; ok && start < count; start += kBlockRecords) {
        const uint64_t end = start + kBlockRecords < count ? start + kBlockRecords : count;
        char* record = block.data();
        char* age_line = ages.data();
        for (uint64_t i = start; i < end; ++i, record += record_length, age_line += 4) {
            const uint32_t s = static_cast<uint32_t>(i * 2654435761u);
            const char* surname = kSurnames[(s >> 20) % 16];
            const unsigned qty = s % 1000;
            const unsigned age = (s >> 7) % 100;
            char* field = record;
            *field++ = i % 10 == 9 ? '*' : ' ';
            int length = std::snprintf(text, sizeof text, "%s %07u", surname, s % 10000000);
            put_text(field, 20, text, static_cast<size_t>(length));
            field += 20;
            put_text(field, 15, kCities[i % 8], std::strlen(kCities[i % 8]));
            field += 15;
            put_number(field, 3, age, 0);
            std::memcpy(age_line, field, 3);
            age_line[3] = '\n';
            field += 3;
            put_number(field, 6, qty, 0);
            field += 6;
            put_number(field, 10, static_cast<int64_t>((s >> 8) % 2000000) - 400000, 2);
            field += 10;
            put_number(field, 4, 1940 + s % 70, 0);
            put_number(field + 4, 2, 1 + i % 12, 0);
            put_number(field + 6, 2, 1 + i % 28, 0);
            if (field[4] == ' ') field[4] = '0';
            if (field[6] == ' ') field[6] = '0';
            field += 8;
            *field++ = i % 2 == 0 ? 'T' : 'F';
            std::memcpy(field, "K-", 2);
            put_number(field + 2, 8, s % 100000000, 0);
            for (int c = 2; c < 10; ++c)
                if (field[c] == ' ') field[c] = '0';
            std::memset(field + 10, ' ', 2);
            field += 12;
            put_number(field, 12, (static_cast<int64_t>(s % 19997) - 9998) * 1429, 4);
            field += 12;
            length = std::snprintf(text, sizeof text, "note %llu", static_cast<unsigned long long>(i));
            put_text(field, 16, text, static_cast<size_t>(length));
            if (i % 10 != 9) ++live;
            if (qty > 400 && surname[0] == 'S') ++filtered;
        }
        ok = write_all(table, block.data(), static_cast<size_t>(record - block.data())) &&
             write_all(column, ages.data(), static_cast<size_t>(age_line - ages.data()));
    }
    ok = ok && write_all(table, "\x1a", 1);
    ok = std::fclose(table) == 0 && ok;
    ok = std::fclose(column) == 0 && ok;
    if (!ok) {
        std::fprintf(stderr, "writing %s or %s failed\n", argv[1], argv[3]);
        return 1;
    }
    std::printf("records %llu\nlive %llu\nfilter %llu\n", static_cast<unsigned long long>(count),
                static_cast<unsigned long long>(live), static_cast<unsigned long long>(filtered));
    return 0;
}
