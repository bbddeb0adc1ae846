#include "tools/lumo/media/ogg_opus_writer.h"

#include "tools/lumo/media/opus_packet.h"

#include <cerrno>

namespace lumo {

COggOpusWriter::COggOpusWriter(std::FILE* file) : m_pFile(file) { ogg_stream_init(&m_stream, 0x6c756d6f); }

COggOpusWriter::~COggOpusWriter() { ogg_stream_clear(&m_stream); }

void COggOpusWriter::Begin(const std::string& head, const std::string& tags) {
    Put(head, 0, false);
    PutPages(true);  // each head on pages of its own
    Put(tags, 0, false);
    PutPages(true);
}

void COggOpusWriter::Write(const std::string& packet, uint64_t granule) {
    if (!m_strHeld.empty()) {
        Put(m_strHeld, m_ullHeldGranule, false);
        const bool second = m_ullHeldGranule - m_ullPagedGranule >= kOpusRate;
        if (second) m_ullPagedGranule = m_ullHeldGranule;
        PutPages(second);
    }
    m_strHeld = packet;
    m_ullHeldGranule = granule;
}

void COggOpusWriter::End() {
    if (m_strHeld.empty()) return;
    Put(m_strHeld, m_ullHeldGranule, true);
    m_strHeld.clear();
    PutPages(true);
    Flush();
}

void COggOpusWriter::Check(bool done) {
    if (!done && m_nError == 0) m_nError = errno;
}

void COggOpusWriter::Put(const std::string& packet, uint64_t granule, bool last) {
    ogg_packet out{};
    out.packet = reinterpret_cast<unsigned char*>(const_cast<char*>(packet.data()));
    out.bytes = static_cast<long>(packet.size());
    out.b_o_s = m_nPackets == 0 ? 1 : 0;
    out.e_o_s = last ? 1 : 0;
    out.granulepos = static_cast<ogg_int64_t>(granule);
    out.packetno = m_nPackets++;
    ogg_stream_packetin(&m_stream, &out);
}

void COggOpusWriter::PutPages(bool all) {
    ogg_page page;
    while ((all ? ogg_stream_flush(&m_stream, &page) : ogg_stream_pageout(&m_stream, &page)) != 0) {
        const auto write = [&](const unsigned char* bytes, long length) {
            const auto size = static_cast<size_t>(length);
            Check(std::fwrite(bytes, 1, size, m_pFile) == size);
        };
        write(page.header, page.header_len);
        write(page.body, page.body_len);
    }
    if (all) Flush();
}

}  // namespace lumo
