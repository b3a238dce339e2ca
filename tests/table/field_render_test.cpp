// tests/table/field_render_test.cpp
//
// The listing's renderer against dbf_field_text, the plain path it stands for: for
// every kind of field, on awkward stored values and on many random ones, under every
// trim mode, date mode and delimiter, and in time zones at both ends of the clock,
// the two give the same bytes up to the first NUL.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"
#include "table/field_render.h"
#include "table/number_text.h"

namespace {

// Sets TZ for the life of the object and puts the old one back.
class Zone {
  public:
    explicit Zone(const char* zone) {
        if (const char* old = std::getenv("TZ")) old_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~Zone() {
        if (old_.empty())
            unsetenv("TZ");
        else
            setenv("TZ", old_.c_str(), 1);
        tzset();
    }

  private:
    std::string old_;
};

struct Settings {
    DateMode date_mode;
    TrimMode trim_mode;
    char delimiter;
};

std::vector<Settings> every_setting() {
    std::vector<Settings> all;
    for (DateMode date : {DateMode::Asis, DateMode::Dmy, DateMode::Mdy, DateMode::Ymd})
        for (TrimMode trim : {TrimMode::None, TrimMode::Right, TrimMode::Left, TrimMode::All})
            for (char delimiter : {'.', '/', '%'}) all.push_back({date, trim, delimiter});
    return all;
}

// Renders every record of `dir`/t.dbf both ways under every setting; the count of
// values compared. `quick_ones` counts those put_quick did not decline.
int compare_all(const ScratchDir& dir, int& quick_ones) {
    auto table = open_table(dir.file("t.dbf"));
    EXPECT_NE(table, nullptr);
    if (!table) return 0;
    int compared = 0;
    for (const Settings& s : every_setting()) {
        table->settings.date_mode = s.date_mode;
        table->settings.trim_mode = s.trim_mode;
        dbf_set_date_delimiter(*table, s.delimiter);
        std::vector<FieldRenderer> renderers;
        for (int field = 0; field < table->field_count; ++field) renderers.emplace_back(*table, field);
        for (int32_t r = 0; r < dbf_record_count(*table); ++r) {
            EXPECT_TRUE(dbf_read_record(*table, r));
            for (int field = 0; field < table->field_count; ++field) {
                FieldRenderer& renderer = renderers[static_cast<size_t>(field)];
                const auto [first, last] = renderer.raw_range();
                const bool nul = std::memchr(table->record.data() + first, 0, last - first) != nullptr;
                const std::string quick(renderer.render(*table, nul));
                const std::string plain = dbf_field_text(*table, field);
                // Without the promise the renderer must come to the same, and so must
                // the quickest way wherever it does not decline.
                const std::string unpromised(renderer.render(*table, true));
                std::vector<char> room(renderer.quick_room());
                const char* end = nul ? nullptr : renderer.put_quick(table->record.data(), room.data());
                const auto written = [&room](const char* end) {
                    return std::string(room.data(), static_cast<size_t>(end - room.data()));
                };
                const std::string direct = end != nullptr ? written(end) : plain;
                quick_ones += end != nullptr;
                // And the trimmed way against the plain text without blanks at either end.
                const size_t lead = plain.find_first_not_of(' ');
                const std::string bare =
                    lead == std::string::npos ? "" : plain.substr(lead, plain.find_last_not_of(' ') + 1 - lead);
                end = nul ? nullptr : renderer.put_quick_trimmed(table->record.data(), room.data());
                const std::string trimmed = end != nullptr ? written(end) : bare;
                if (quick != plain || unpromised != plain || direct != plain || trimmed != bare) {
                    ADD_FAILURE() << "record " << r << ", field " << dbf_field_name(*table, field) << ", date mode "
                                  << static_cast<int>(s.date_mode) << ", trim " << static_cast<int>(s.trim_mode)
                                  << ", delimiter " << s.delimiter << ": \"" << quick << "\" / \"" << unpromised
                                  << "\" / \"" << direct << "\" / \"" << trimmed << "\" against \"" << plain << "\"";
                    return compared;
                }
                ++compared;
            }
        }
    }
    return compared;
}

// A table of one field `field` holding each of `stored` as it stands.
void write_values(const ScratchDir& dir, const FieldSpec& field, const std::vector<std::string>& stored) {
    TableImage t;
    t.signature = 0x30;
    t.fields = {field, {"X", 'C', 1}};
    const int width = field.length;
    for (const std::string& value : stored) {
        std::string record = " " + value;
        record.resize(1 + static_cast<size_t>(width), ' ');
        t.records.push_back(record + "x");
    }
    dir.write("t.dbf", t.bytes());
}

std::string le64_bytes(int64_t value) { return le64(value); }

struct Awkward {
    FieldSpec field;
    std::vector<std::string> values;  // the field's bytes; short ones are padded with blanks
};

std::vector<Awkward> awkward_values() {
    const std::string nul(1, '\0');
    return {
        {{"C", 'C', 8}, {"", "        ", "  ab  ", "ab" + nul + "cd", nul + "abc", "a\r\nb", "\xFF\x80 x", "tab\there"}},
        {{"L", 'L', 1}, {"T", " ", "?", nul, "y"}},
        {{"N", 'N', 10, 2},
         {"", "  -4000.00", "     -0.00", "      0.00", "      -.50", "     +1.00", "     00.50", "    1.2345",
          "       1.2", "  1e5     ", "1234567.89", "9999999.99", "        12", "   1.2.3  ", "      -   ", "--1.00",
          "  12" + nul + "3.00", "    0.005 ", "   -999.99"}},
        {{"W", 'N', 20, 4}, {"123456789012345.1234", "    -12345678901.5000", "99999999999999999999", "  0.00005"}},
        {{"Z", 'N', 4, 0}, {"  -0", "   0", "  07", "9999", "-999", " 1.5", "    "}},
        {{"Q", 'N', 3, 5}, {"1.5", "  1", "   "}},
        {{"F", 'F', 12, 4}, {"  -1428.2857", "     12.3456", "           0", "   1.23E+03 "}},
        {{"D", 'D', 8},
         {"20010314", "        ", "00000000", "19011213", "19011214", "19011215", "19011216", "19020101", "20380118",
          "20380119", "20380120", "19700101", "19691231", "19700102", "20011399", "20010100", "20011300", "2001 2 3",
          "abcdefgh", "00010101", "99991231", "2001-3-1", "-0010101", "1902" + nul + "101"}},
        {{"T", 'T', 14},
         {"20010314235959", "19691231235959", "19700101000000", "20380119031407", "20380119031408", "19011213204552",
          "20010314999999", "2001031412", "              ", "200103141230xx"}},
        {{"B", 'T', 8},
         {le32(2451545) + le32(0), le32(2451545) + le32(86399999), le32(2440588) + le32(-1000), le32(0) + le32(0),
          le32(5373484) + le32(1), le32(5373485) + le32(0), le32(2415021) + le32(5), le32(2465443) + le32(11647000)}},
        {{"I", 'I', 4}, {le32(0), le32(-1), le32(2147483647), le32(-2147483647 - 1), le32(123456)}},
        {{"Y", 'Y', 8},
         {le64_bytes(0), le64_bytes(-1), le64_bytes(123456789), le64_bytes(999999999999999),
          le64_bytes(1000000000000000), le64_bytes(-1000000000000000), le64_bytes(INT64_MIN)}},
        {{"O", 'B', 8, 3},
         {double_bytes(0.0), double_bytes(-0.0), double_bytes(1e300), double_bytes(-2.5), double_bytes(0.0005)}},
        {{"M", 'M', 10}, {"", "         1", "        12", "0", "  0000", "-1", "12" + nul, nul, "abc", " 12 3"}},
        {{"G", 'G', 10}, {"         7", "          "}},
        {{"P", 'M', 4}, {le32(0), le32(5), le32(-1)}},
        {{"E", 'B', 10}, {"        44", "          "}},
        {{"S", '0', 3}, {"abc", "   "}},
    };
}

}  // namespace

TEST(FieldRender, AwkwardValuesRenderAsThePlainPath) {
    for (const char* zone : {"UTC", "Pacific/Kiritimati", "Pacific/Pago_Pago", "Asia/Kolkata", "America/New_York"}) {
        SCOPED_TRACE(zone);
        Zone in(zone);
        for (const Awkward& a : awkward_values()) {
            SCOPED_TRACE(a.field.name);
            ScratchDir dir;
            write_values(dir, a.field, a.values);
            int quick_ones = 0;
            EXPECT_GT(compare_all(dir, quick_ones), 0);
            // The quick way takes the usual values of every kind that has one.
            if (std::string("CLNWZFDTIYMP").find(a.field.name) != std::string::npos) {
                EXPECT_GT(quick_ones, 0);
            }
        }
    }
}

// Random bytes from an alphabet that makes every kind of field go wrong somewhere.
TEST(FieldRender, RandomValuesRenderAsThePlainPath) {
    std::mt19937 rng(17);
    const std::string alphabet = std::string("0123456789  -.+E\r", 17) + std::string(1, '\0') + "ax\xFF";
    auto random_bytes = [&](size_t n, const std::string& from) {
        std::string bytes(n, ' ');
        for (char& c : bytes) c = from[rng() % from.size()];
        return bytes;
    };
    const std::vector<FieldSpec> fields = {{"C", 'C', 6},     {"N", 'N', 9, 3}, {"K", 'N', 5}, {"D", 'D', 8},
                                           {"T", 'T', 14},    {"M", 'M', 10},   {"L", 'L', 1}};
    for (const FieldSpec& field : fields) {
        SCOPED_TRACE(field.name);
        std::vector<std::string> values;
        for (int i = 0; i < 400; ++i) {
            // Half digits alone (plausible values), half anything.
            const std::string from = i % 2 ? alphabet : std::string("0123456789 ");
            values.push_back(random_bytes(static_cast<size_t>(field.length), from));
        }
        ScratchDir dir;
        write_values(dir, field, values);
        int quick_ones = 0;
        compare_all(dir, quick_ones);
    }
}

// A field that reaches past the record buffer renders as missing, both ways.
TEST(FieldRender, FieldsPastTheRecordBufferRenderAsThePlainPath) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"WIDE", 'C', 65530}, {"N", 'N', 8, 2}, {"D", 'D', 8}, {"C", 'C', 4}, {"M", 'M', 10}};
    t.record_length = 65535;  // the stride; the widths make 65561 bytes, all in the file
    t.records.push_back(" " + std::string(65560, 'w'));
    dir.write("t.dbf", t.bytes());
    int quick_ones = 0;
    EXPECT_GT(compare_all(dir, quick_ones), 0);
}

TEST(FieldRender, PrintedFormIsWhatPrintfPrints) {
    std::mt19937 rng(5);
    const std::string alphabet = "0123456789  -.";
    int seen = 0;
    for (int i = 0; i < 200000; ++i) {
        const int width = 1 + static_cast<int>(rng() % 20);
        const int decimals = static_cast<int>(rng() % 6);
        std::string text(static_cast<size_t>(width), ' ');
        for (char& c : text) c = alphabet[rng() % alphabet.size()];
        const bool printed = number_is_printed_form(text.c_str(), width, decimals);
        const std::string padded = text + std::string(16, '7');
        if (width <= 16) {
            ASSERT_EQ(number_is_printed_form_16(reinterpret_cast<const uint8_t*>(padded.data()), width, decimals),
                      printed) << "\"" << text << "\", decimals " << decimals;
        }
        if (!printed) continue;
        ++seen;
        char format[16], out[64];
        std::snprintf(format, sizeof format, "%%%d.%df", width, decimals);
        std::snprintf(out, sizeof out, format, std::atof(text.c_str()));
        ASSERT_EQ(text, out) << "width " << width << ", decimals " << decimals;
    }
    EXPECT_GT(seen, 1000);
}
