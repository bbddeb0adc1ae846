// H.264 byte streams of the tests' own making, and what a reader makes of one.
#pragma once

#include "tools/lumo/demo/samples.h"
#include "tools/lumo/media/annexb_reader.h"
#include "tools/lumo/media/video_index.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace h264_stream {

using namespace lumo;
using namespace std::string_literals;

inline const std::string kAud = "\0\0\0\1\x09\x10"s, kSps = "\0\0\0\1\x67sps"s, kPps = "\0\0\1\x68pps"s;

inline std::string Idr(const std::string& name) { return "\0\0\1\x65\x88"s + name; }  // begins with macroblock 0
inline std::string Delta(const std::string& name) { return "\0\0\1\x41\x9a"s + name; }
inline std::string More(const std::string& name) { return "\0\0\1\x41\x4a"s + name; }  // a later slice of it

struct Stream {
    std::vector<std::string> units;
    std::string keys;  // K or - for each
    std::string problem;

    std::string Whole() const {
        std::string whole;
        for (const std::string& unit : units) whole += unit;
        return whole;
    }
};

inline Stream Read(const std::string& bytes, size_t piece) {
    Stream stream;
    CAnnexBReader reader;
    AccessUnit unit;
    size_t at = 0;
    for (;;) {
        switch (reader.Next(unit)) {
            case CAnnexBReader::Result::Unit:
                EXPECT_EQ(unit.offset, stream.Whole().size());
                stream.units.push_back(unit.bytes);
                stream.keys += unit.key ? 'K' : '-';
                break;
            case CAnnexBReader::Result::NeedMore: {
                const size_t length = std::min(piece, bytes.size() - at);
                if (length == 0) reader.Finish();
                reader.Feed(bytes.data() + at, length);
                at += length;
                break;
            }
            default:
                stream.problem = reader.Problem();
                return stream;
        }
    }
}

inline std::string Moving() { return std::string(Sample("sample.h264")); }

inline VideoIndex IndexOf(const std::string& bytes) {
    VideoIndex index;
    std::string problem;
    const auto read = [&bytes, at = size_t{0}](char* buffer, size_t size) mutable {
        const size_t length = bytes.copy(buffer, size, at);
        at += length;
        return static_cast<ssize_t>(length);
    };
    EXPECT_TRUE(ReadVideoIndex(read, index, problem)) << problem;
    return index;
}

}  // namespace h264_stream
