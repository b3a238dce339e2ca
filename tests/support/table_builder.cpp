// tests/support/table_builder.cpp
#include "support/table_builder.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace {

int field_width(const FieldSpec& field) { return field.type == 'C' ? field.length : (field.length & 0xFF); }

bool right_aligned(char type) { return type == 'N' || type == 'F'; }

bool binary_layout(const FieldSpec& field) {
    switch (field.type) {
        case 'I': case 'Y': case '0': return true;
        case 'B': return field.length == 8 || field.length == 4;
        case 'T': return field.length == 8;
        case 'M': case 'G': return field.length == 4;
        default: return false;
    }
}

// The bytes of `value` as this machine stores it: little-endian here.
template <class T>
std::string bytes_of(T value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// One 32-byte descriptor image.
std::string descriptor(const FieldSpec& field, int offset) {
    std::string out(32, '\0');
    out.replace(0, std::min<size_t>(field.name.size(), 11), field.name.substr(0, 11));
    out[11] = field.type;
    out.replace(12, 2, le16(static_cast<uint16_t>(offset)));
    const bool wide = field.type == 'C' && field.length > 255;
    out.replace(16, 2, wide ? le16(static_cast<uint16_t>(field.length))
                            : std::string{static_cast<char>(field.length), static_cast<char>(field.decimals)});
    return out;
}

}  // namespace

std::string le16(uint16_t value) { return bytes_of(value); }
std::string le32(int32_t value) { return bytes_of(value); }
std::string le64(int64_t value) { return bytes_of(value); }
std::string be32(uint32_t value) { return bytes_of(__builtin_bswap32(value)); }
std::string double_bytes(double value) { return bytes_of(value); }

int TableImage::computed_record_length() const {
    int length = 1;
    for (const FieldSpec& field : fields) length += field_width(field);
    return length;
}

std::string TableImage::record(const std::vector<std::string>& values, bool deleted) const {
    std::string out(1, deleted ? '*' : ' ');
    for (size_t i = 0; i < fields.size(); ++i) {
        const FieldSpec& field = fields[i];
        size_t width = static_cast<size_t>(field_width(field));
        std::string value = i < values.size() ? values[i] : std::string();
        if (value.size() > width) value.resize(width);
        if (binary_layout(field)) {
            value.resize(width, '\0');
        } else if (right_aligned(field.type)) {
            value.insert(0, width - value.size(), ' ');
        } else {
            value.resize(width, ' ');
        }
        out += value;
    }
    return out;
}

void TableImage::add(const std::vector<std::string>& values, bool deleted) {
    records.push_back(record(values, deleted));
}

std::string TableImage::bytes() const {
    std::string descriptors;
    int offset = 1;
    for (const FieldSpec& field : fields) {
        descriptors += descriptor(field, offset);
        offset += field_width(field);
    }
    uint16_t computed_header = static_cast<uint16_t>(32 + descriptors.size() + (terminator ? 1 : 0));
    std::string out(32, '\0');
    out[0] = static_cast<char>(signature);
    out[1] = static_cast<char>(year);
    out[2] = static_cast<char>(month);
    out[3] = static_cast<char>(day);
    uint32_t count = record_count.value_or(static_cast<uint32_t>(records.size()));
    out.replace(4, 4, le32(static_cast<int32_t>(count)));
    out.replace(8, 2, le16(header_length.value_or(computed_header)));
    out.replace(10, 2, le16(record_length.value_or(static_cast<uint16_t>(computed_record_length()))));
    out[28] = static_cast<char>(table_flags);
    out[29] = static_cast<char>(code_page_mark);
    out += descriptors;
    if (terminator) out += '\x0D';
    for (const std::string& record : records) out += record;
    if (end_mark) out += '\x1A';
    return out;
}

MemoImage::MemoImage(Layout layout_, int block_size_) : layout(layout_), block_size(block_size_) {
    if (layout == Dbase3) block_size = 512;
    int header_size = std::max(block_size, 512);
    data.assign(static_cast<size_t>(header_size), '\0');
    uint32_t next = layout == Dbase3 ? 1 : static_cast<uint32_t>(header_size / block_size);
    switch (layout) {
        case Dbase3:
            data.replace(0, 4, le32(static_cast<int32_t>(next)));
            break;
        case Dbase4:
            data.replace(0, 4, le32(static_cast<int32_t>(next)));
            data.replace(18, 4, le16(0x0102) + le16(static_cast<uint16_t>(block_size)));
            break;
        case FoxPro:
            data.replace(0, 4, be32(next));
            data.replace(6, 2, be32(static_cast<uint32_t>(block_size)).substr(2));
            break;
    }
}

int32_t MemoImage::add(const std::string& text, uint32_t fox_block_type) {
    size_t block = (data.size() + static_cast<size_t>(block_size) - 1) / static_cast<size_t>(block_size);
    data.resize(block * static_cast<size_t>(block_size), '\0');
    switch (layout) {
        case Dbase3:
            data += text;
            data += '\x1A';
            break;
        case Dbase4:
            data += std::string("\xFF\xFF\x08\x00", 4);  // the mark 0x0008FFFF
            data += le32(static_cast<int32_t>(text.size() + 8));
            data += text;
            break;
        case FoxPro:
            data += be32(fox_block_type);
            data += be32(static_cast<uint32_t>(text.size()));
            data += text;
            break;
    }
    uint32_t next = static_cast<uint32_t>((data.size() + static_cast<size_t>(block_size) - 1) /
                                          static_cast<size_t>(block_size));
    data.replace(0, 4, layout == FoxPro ? be32(next) : le32(static_cast<int32_t>(next)));
    return static_cast<int32_t>(block);
}

void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool file_exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}
