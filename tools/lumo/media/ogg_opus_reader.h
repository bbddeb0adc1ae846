// Opus packets out of an Ogg stream that comes in pieces.
#pragma once

#include <ogg/ogg.h>

#include <cstddef>
#include <string>

namespace lumo {

/// Feed it until it has a packet. One thread.
class COggOpusReader {
public:
    enum class Result {
        Packet,
        NeedMore,
        End,
        Broken,  ///< not Ogg Opus; Problem() says what is wrong
    };

    COggOpusReader();
    ~COggOpusReader();
    COggOpusReader(const COggOpusReader&) = delete;
    COggOpusReader& operator=(const COggOpusReader&) = delete;

    void Feed(const char* data, size_t length);
    /// Nothing more will come.
    void Finish() { m_bFinished = true; }
    /// The next audio packet. Both heads are known before the first.
    Result Next(std::string& packet);
    const std::string& Head() const { return m_strHead; }
    const std::string& Tags() const { return m_strTags; }
    const std::string& Problem() const { return m_strProblem; }

private:
    bool TakePage();
    Result Fail(const char* problem);

    ogg_sync_state m_sync{};
    ogg_stream_state m_stream{};
    bool m_bStream = false;
    bool m_bEnded = false;  // the stream's last page has come
    bool m_bFinished = false;
    std::string m_strHead;
    std::string m_strTags;
    std::string m_strProblem;
};

}  // namespace lumo
