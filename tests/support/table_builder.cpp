// tests/support/table_builder.cpp
#include "support/table_builder.h"

#include <algorithm>
#include <cstring>
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

}  // namespace

std::string le16(uint16_t value) {
    return std::string{static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

std::string le32(int32_t value) {
    std::string out(4, '\0');
    std::memcpy(out.data(), &value, 4);
    return out;
}

std::string le64(int64_t value) {
    std::string out(8, '\0');
    std::memcpy(out.data(), &value, 8);
    return out;
}

std::string be32(uint32_t value) {
    return std::string{static_cast<char>(value >> 24), static_cast<char>((value >> 16) & 0xFF),
                       static_cast<char>((value >> 8) & 0xFF), static_cast<char>(value & 0xFF)};
}

std::string double_bytes(double value) {
    std::string out(8, '\0');
    std::memcpy(out.data(), &value, 8);
    return out;
}

std::string descriptor(const std::string& name, char type, int length, int decimals, int offset) {
    std::string out(32, '\0');
    std::memcpy(out.data(), name.data(), std::min<size_t>(name.size(), 11));
    out[11] = type;
    out[12] = static_cast<char>(offset & 0xFF);
    out[13] = static_cast<char>((offset >> 8) & 0xFF);
    if (type == 'C' && length > 255) {
        out[16] = static_cast<char>(length & 0xFF);
        out[17] = static_cast<char>(length >> 8);
    } else {
        out[16] = static_cast<char>(length);
        out[17] = static_cast<char>(decimals);
    }
    return out;
}

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
    std::string descriptors = raw_descriptors;
    if (descriptors.empty()) {
        int offset = 1;
        for (const FieldSpec& field : fields) {
            descriptors += descriptor(field.name, field.type, field.length, field.decimals, offset);
            offset += field_width(field);
        }
    }
    uint16_t computed_header = static_cast<uint16_t>(32 + descriptors.size() + (terminator ? 1 : 0) +
                                                     extra_header.size());
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
    out += extra_header;
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
            data.replace(18, 2, le16(0x0102));
            data.replace(20, 2, le16(static_cast<uint16_t>(block_size)));
            break;
        case FoxPro:
            data.replace(0, 4, be32(next));
            data[6] = static_cast<char>((block_size >> 8) & 0xFF);
            data[7] = static_cast<char>(block_size & 0xFF);
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
    if (layout == FoxPro)
        data.replace(0, 4, be32(next));
    else
        data.replace(0, 4, le32(static_cast<int32_t>(next)));
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
