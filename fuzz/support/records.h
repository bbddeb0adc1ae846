// An input as a list of records: one length byte pair (big-endian), then that many bytes. What is cut short is dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline std::vector<std::string> Records(const uint8_t* data, size_t size, size_t most = 64) {
    std::vector<std::string> records;
    while (size >= 2 && records.size() < most) {
        const size_t length = static_cast<size_t>(data[0]) << 8 | data[1];
        data += 2;
        size -= 2;
        if (length > size) break;
        records.emplace_back(reinterpret_cast<const char*>(data), length);
        data += length;
        size -= length;
    }
    return records;
}
