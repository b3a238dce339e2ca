// tests/select/sort_test.cpp
//
// Keys compared without their digits written out, and runs sorted in memory,
// against the plain comparison of whole keys: text, then "%10d" of the element.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "select/sort.h"

namespace {

// The whole key as the order has always compared it.
std::string whole_key(const std::string& text, int32_t element) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%10d", element);
    return text + digits;
}

int sign(int value) { return (value > 0) - (value < 0); }

// strcmp of two whole keys, as unsigned bytes.
int plain_compare(const std::string& a, int32_t ea, const std::string& b, int32_t eb) {
    return sign(std::strcmp(whole_key(a, ea).c_str(), whole_key(b, eb).c_str()));
}

struct Key {
    std::string text;
    int32_t element;
};

SortRecord record_of(const Key& key) { return SortRecord{key.text.data(), key.text.size(), key.element, nullptr}; }

enum class Shape { Random, FewValues, Sorted, Reversed, AllEqual, OrganPipe, Sawtooth, MixedLengths, LongShared, DeepTies };

// Texts of one of the shapes that trouble sorts: numbers right-aligned in 6 columns,
// or texts of several lengths, or long texts alike in their first 20 or 81 bytes.
std::vector<Key> make_keys(Shape shape, size_t n, std::mt19937& rng) {
    std::vector<Key> keys(n);
    for (size_t i = 0; i < n; ++i) {
        long value = 0;
        switch (shape) {
            case Shape::Random: value = static_cast<long>(rng() % 1000000); break;
            case Shape::FewValues: value = static_cast<long>(rng() % 3); break;
            case Shape::Sorted: value = static_cast<long>(i); break;
            case Shape::Reversed: value = static_cast<long>(n - i); break;
            case Shape::AllEqual: value = 7; break;
            case Shape::OrganPipe: value = static_cast<long>(std::min(i, n - i)); break;
            case Shape::Sawtooth: value = static_cast<long>(i % 100); break;
            case Shape::MixedLengths: case Shape::LongShared: case Shape::DeepTies: break;
        }
        char text[32];
        std::snprintf(text, sizeof text, "%6ld", value);
        keys[i] = {text, static_cast<int32_t>(i)};
        if (shape == Shape::MixedLengths) {
            // Texts that are prefixes of one another, digits and blanks among them, so
            // that one key's digits meet another's text.
            static const char kAlphabet[] = " 019ab\x80\xff";
            std::string t;
            for (size_t k = rng() % 14; k > 0; --k) t += kAlphabet[rng() % 8];
            keys[i].text = t;
        } else if (shape == Shape::LongShared) {
            keys[i].text = std::string(20, 'x') + std::to_string(rng() % 50) + std::string(rng() % 3, 'y');
        } else if (shape == Shape::DeepTies) {
            // Alike for 81 bytes past the prefix they share: beyond what the radix sort reads.
            keys[i].text = std::string(1, rng() % 2 ? 'a' : 'c') + std::string(80, 'b') + std::to_string(rng() % 5);
        }
    }
    return keys;
}

const Shape kShapes[] = {Shape::Random,    Shape::FewValues, Shape::Sorted,       Shape::Reversed,  Shape::AllEqual,
                         Shape::OrganPipe, Shape::Sawtooth,  Shape::MixedLengths, Shape::LongShared,
                         Shape::DeepTies};

}  // namespace

TEST(SortKeys, ElementDigitsAreThoseOfPrintf) {
    std::mt19937 rng(5);
    std::vector<int32_t> elements = {0, 9, 10, 99999, 1000000000, 2147483647};
    for (int i = 0; i < 1000; ++i) elements.push_back(static_cast<int32_t>(rng() >> 1));
    for (int32_t element : elements) {
        char digits[10];
        element_digits(element, digits);
        EXPECT_EQ(std::string(digits, 10), whole_key("", element)) << element;
    }
}

TEST(SortKeys, CompareAsWholeKeysDo) {
    struct Case { const char* what; std::string a; int32_t ea; std::string b; int32_t eb; };
    const Case kCases[] = {
        {"equal texts: the element decides", "ab", 12, "ab", 3},
        {"a text that is a prefix, against a blank", "ab", 5, "ab ", 5},
        {"a prefix against a digit", "ab", 5, "ab9", 1},
        {"a prefix against a byte below the blank", "ab", 5, "ab\x1f", 1},
        {"digits of both behind a common text", "x", 123, "x ", 45},
        {"a prefix against a long text", "", 1, "          1", 1},
        {"bytes above 127 are greater", "a\x80", 0, "az", 1},
        {"an empty text", "", 7, "", 70},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        Key a{c.a, c.ea}, b{c.b, c.eb};
        EXPECT_EQ(sign(compare_keys(record_of(a), record_of(b))), plain_compare(c.a, c.ea, c.b, c.eb));
        EXPECT_EQ(sign(compare_keys(record_of(b), record_of(a))), plain_compare(c.b, c.eb, c.a, c.ea));
    }
    std::mt19937 rng(11);
    std::vector<Key> keys = make_keys(Shape::MixedLengths, 3000, rng);
    for (size_t i = 1; i < keys.size(); ++i) {
        const Key& a = keys[i - 1];
        const Key& b = keys[(i * 7919) % keys.size()];
        ASSERT_EQ(sign(compare_keys(record_of(a), record_of(b))), plain_compare(a.text, a.element, b.text, b.element))
            << a.text << "|" << b.text;
    }
}

TEST(SortRun, SortsAsWholeKeysCompareAndCarriesPayloads) {
    std::mt19937 rng(20010314);
    std::vector<size_t> sizes;
    for (size_t n = 0; n <= 140; ++n) sizes.push_back(n);
    for (size_t n : {255, 256, 257, 1000, 5000, 40000}) sizes.push_back(n);
    for (Shape shape : kShapes) {
        for (size_t n : sizes) {
            SCOPED_TRACE(testing::Message() << "shape " << static_cast<int>(shape) << ", " << n << " records");
            std::vector<Key> keys = make_keys(shape, n, rng);
            SortRun run(size_t{1} << 30, 6);
            for (size_t i = 0; i < n; ++i) {
                // The payload: the element's bytes and two more made of them.
                int32_t e = keys[i].element;
                uint8_t payload[6];
                std::memcpy(payload, &e, 4);
                payload[4] = static_cast<uint8_t>(e * 7);
                payload[5] = static_cast<uint8_t>(e >> 3);
                ASSERT_TRUE(run.add(keys[i].text.data(), keys[i].text.size(), e, payload, n - i));
            }
            run.sort();
            std::vector<std::string> expected;
            for (const Key& key : keys) expected.push_back(whole_key(key.text, key.element));
            std::sort(expected.begin(), expected.end());
            ASSERT_EQ(run.size(), n);
            for (size_t rank = 0; rank < n; ++rank) {
                SortRecord r = run.at(rank);
                ASSERT_EQ(whole_key(std::string(r.text, r.length), r.element), expected[rank]) << rank;
                int32_t carried;
                std::memcpy(&carried, r.payload, 4);
                ASSERT_EQ(carried, r.element);
                ASSERT_EQ(r.payload[4], static_cast<uint8_t>(r.element * 7));
                ASSERT_EQ(r.payload[5], static_cast<uint8_t>(r.element >> 3));
            }
        }
    }
}

TEST(SortRun, HoldsWhatItsLimitAllows) {
    struct Case { const char* what; size_t limit; size_t text; size_t payload; size_t most; };
    const Case kCases[] = {
        // Each record takes 16 bytes of entry, 2 of length, its text and payload.
        {"short keys", 2600, 8, 0, 100},
        {"keys with payloads", 2600, 8, 74, 26},
        {"a limit below one record still takes one", 10, 30, 0, 1},
        {"a limit of 0: one record a run", 0, 30, 0, 1},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        SortRun run(c.limit, c.payload);
        std::string text(c.text, 'k');
        std::vector<uint8_t> payload(c.payload, 1);
        size_t added = 0;
        while (added < 100000 && run.add(text.data(), text.size(), static_cast<int32_t>(added), payload.data(), 100000))
            ++added;
        EXPECT_EQ(added, c.most);
        // Unbounded, the run takes the rest.
        run.set_unbounded();
        for (int i = 0; i < 500; ++i)
            ASSERT_TRUE(run.add(text.data(), text.size(), static_cast<int32_t>(added++), payload.data(), 1));
        run.sort();
        EXPECT_EQ(run.size(), added);
    }
}

// Keys longer than the first of the run, up to the longest a key may be, grow the
// arena where the limit leaves room and end the run where it does not.
TEST(SortRun, GrowsForLongerKeysWithinTheLimit) {
    const std::string short_text(4, 'a');
    const std::string long_text(kMaxKeyText, 'b');
    SortRun roomy(size_t{4} << 20, 0);
    ASSERT_TRUE(roomy.add(short_text.data(), short_text.size(), 0, nullptr, 3));
    ASSERT_TRUE(roomy.add(long_text.data(), long_text.size(), 1, nullptr, 2));
    ASSERT_TRUE(roomy.add(short_text.data(), short_text.size(), 2, nullptr, 1));
    roomy.sort();
    EXPECT_EQ(roomy.at(0).element, 0);
    EXPECT_EQ(roomy.at(1).element, 2);
    EXPECT_EQ(roomy.at(2).length, kMaxKeyText);

    SortRun tight(1000, 0);
    ASSERT_TRUE(tight.add(short_text.data(), short_text.size(), 0, nullptr, 3));
    EXPECT_FALSE(tight.add(long_text.data(), long_text.size(), 1, nullptr, 2));
    EXPECT_EQ(tight.size(), 1u);
}
