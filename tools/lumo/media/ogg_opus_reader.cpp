#include "tools/lumo/media/ogg_opus_reader.h"

#include <cstring>

namespace lumo {

COggOpusReader::COggOpusReader() { ogg_sync_init(&m_sync); }

COggOpusReader::~COggOpusReader() {
    if (m_bStream) ogg_stream_clear(&m_stream);
    ogg_sync_clear(&m_sync);
}

void COggOpusReader::Feed(const char* data, size_t length) {
    char* room = ogg_sync_buffer(&m_sync, static_cast<long>(length));
    if (!room) return;
    std::memcpy(room, data, length);
    ogg_sync_wrote(&m_sync, static_cast<long>(length));
}

COggOpusReader::Result COggOpusReader::Fail(const char* problem) {
    m_strProblem = problem;
    return Result::Broken;
}

/// Pages of other streams are passed over.
bool COggOpusReader::TakePage() {
    ogg_page page{};
    for (int got = 0; (got = ogg_sync_pageout(&m_sync, &page)) != 0;) {
        if (got < 0) continue;  // bytes that belong to no page
        if (!m_bStream) {
            if (ogg_page_bos(&page) == 0) continue;
            ogg_stream_init(&m_stream, ogg_page_serialno(&page));
            m_bStream = true;
        }
        if (ogg_stream_pagein(&m_stream, &page) != 0) continue;
        m_bEnded = m_bEnded || ogg_page_eos(&page) != 0;
        return true;
    }
    return false;
}

COggOpusReader::Result COggOpusReader::Next(std::string& packet) {
    ogg_packet next;
    for (;;) {
        const int got = m_bStream ? ogg_stream_packetout(&m_stream, &next) : 0;
        if (got < 0) continue;  // a hole: what follows is whole
        if (got == 0) {
            if (!m_bEnded && TakePage()) continue;
            if (m_bEnded) return Result::End;
            if (!m_bFinished) return Result::NeedMore;
            return m_strTags.empty() ? Fail("this is no Ogg Opus file") : Result::End;
        }
        std::string bytes(reinterpret_cast<const char*>(next.packet), static_cast<size_t>(next.bytes));
        if (m_strHead.empty()) {
            if (bytes.size() < 19 || bytes.compare(0, 8, "OpusHead") != 0) return Fail("this is no Ogg Opus file");
            m_strHead = std::move(bytes);
        } else if (m_strTags.empty()) {
            if (bytes.compare(0, 8, "OpusTags") != 0) return Fail("the Ogg stream has no Opus comment header");
            m_strTags = std::move(bytes);
        } else if (!bytes.empty()) {
            packet = std::move(bytes);
            return Result::Packet;
        }
    }
}

}  // namespace lumo
