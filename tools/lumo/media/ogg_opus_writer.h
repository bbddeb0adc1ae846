// An Ogg Opus stream out of packets.
#pragma once

#include <ogg/ogg.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace lumo {

/// Writes to a file that it does not own. One thread.
class COggOpusWriter {
public:
    explicit COggOpusWriter(std::FILE* file);
    ~COggOpusWriter();
    COggOpusWriter(const COggOpusWriter&) = delete;
    COggOpusWriter& operator=(const COggOpusWriter&) = delete;

    void Begin(const std::string& head, const std::string& tags);
    bool Begun() const { return m_nPackets > 0; }
    /// `granule` is the position of the packet's end; a page at the latest after a second of audio.
    void Write(const std::string& packet, uint64_t granule);
    /// Marks the end. Nothing may follow.
    void End();
    /// False once something could not be written.
    bool Good() const { return m_nError == 0; }
    /// Why; 0 while it is good.
    int Error() const { return m_nError; }

private:
    void Put(const std::string& packet, uint64_t granule, bool last);
    void PutPages(bool all);
    void Check(bool done);
    void Flush() { Check(std::fflush(m_pFile) == 0); }

    std::FILE* const m_pFile;
    ogg_stream_state m_stream{};
    int64_t m_nPackets = 0;
    std::string m_strHeld;  // the last packet, which may turn out to be the stream's last
    uint64_t m_ullHeldGranule = 0;
    uint64_t m_ullPagedGranule = 0;
    int m_nError = 0;  // the first one
};

}  // namespace lumo
