// Streams that come in pieces, H.264 streams of the tests' own making, and a medium of `lumo publish` as the command
// opens it, but without a server.
#pragma once

#include "tools/lumo/demo/samples.h"
#include "tools/lumo/media/annexb_reader.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/media/video_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

/// Feeds a reader pieces of that size; `take` gets each item that it finds. The reader's problem; empty: none.
template <class Item, class Reader, class Take>
std::string ReadInPieces(Reader& reader, const std::string& bytes, size_t piece, Take take) {
    using Result = typename Reader::Result;
    Item item;
    for (size_t at = 0;;) {
        const Result result = reader.Next(item);
        if (result == Result::End || result == Result::Broken) return reader.Problem();
        if (result == Result::NeedMore) {
            const size_t length = std::min(piece, bytes.size() - at);
            if (length == 0) reader.Finish();
            reader.Feed(bytes.data() + at, length);
            at += length;
        } else {
            take(item);
        }
    }
}

template <class Medium>
class COpenedMedium {
public:
    /// `words` are what the command line says after the medium.
    explicit COpenedMedium(const std::vector<std::string>& words) {
        lumo::CCommandLine line;
        lumo::CCommand command = line.Root();
        medium.AddOptions(command);
        EXPECT_EQ(line.Run(words), "");
        std::string problem;
        EXPECT_TRUE(medium.Prepare(problem)) << problem;
        lumo::RelayRoute route;
        route.channel = 77;
        m_link = medium.Open(route, m_inbox);
    }
    ~COpenedMedium() {
        m_link.reset();
        medium.Close();
    }
    COpenedMedium(const COpenedMedium&) = delete;
    COpenedMedium& operator=(const COpenedMedium&) = delete;

    Medium medium;

private:
    lumo::CWake m_wake;
    lumo::CInbox m_inbox{m_wake, 0, 0};
    std::unique_ptr<lumo::CLink> m_link;
};

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
    stream.problem = ReadInPieces<AccessUnit>(reader, bytes, piece, [&stream](const AccessUnit& unit) {
        EXPECT_EQ(unit.offset, stream.Whole().size());
        stream.units.push_back(unit.bytes);
        stream.keys += unit.key ? 'K' : '-';
    });
    return stream;
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
