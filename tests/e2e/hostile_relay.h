// A relay in front of the real one that carries every frame and adds what nobody sent, and keeps all bytes it saw.
#pragma once

#include "support/raw_tcp.h"
#include "support/session_wire.h"

#include <lumomedia/seal.h>

#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace e2e {

/// Frames in the place of one, in that order.
using Forge = std::function<std::vector<std::string>(const std::string& frame)>;

/// What somebody can do to one stream who knows everything but its secret. Frames of the same secret that belong
/// elsewhere stand for those that are moved. Each of them would be noticed if it were taken.
class CForger {
public:
    CForger(const CSealSecret& secret, const LumoSealStream& stream, const std::string& plain)
        : m_secret(secret), m_stream(stream), m_strPlain(plain) {
        other.Draw();
    }

    std::vector<std::string> operator()(const std::string& frame) {
        std::vector<std::string> all{Altered(frame), m_strPlain, Sealed(other, m_stream)};
        LumoSealStream elsewhere = m_stream;
        ++elsewhere.ulChannelID;
        all.push_back(Sealed(m_secret, elsewhere));
        elsewhere = m_stream;
        elsewhere.direction = m_stream.direction == SEAL_UP ? SEAL_DOWN : SEAL_UP;
        all.push_back(Sealed(m_secret, elsewhere));
        all.push_back(m_strPlain.substr(0, m_nClear) + "\xf0\x01" + std::string(40, static_cast<char>(m_random())));
        if (!m_strBefore.empty()) all.push_back(m_strBefore);
        all.push_back(frame);
        all.push_back(frame);
        m_strBefore = frame;
        ++carried;
        return all;
    }

    CSealSecret other;
    uint64_t carried = 0;

private:
    /// Any bit but those of a video's bytes 1 and 2, which anybody may write.
    std::string Altered(std::string frame) {
        size_t at = m_random() % frame.size();
        if (m_nClear > 0 && (at == 1 || at == 2)) at = 0;
        frame[at] = static_cast<char>(frame[at] ^ (1 << (m_random() % 8)));
        return frame;
    }
    std::string Sealed(const CSealSecret& secret, const LumoSealStream& stream) const {
        std::string sealed(m_strPlain.size() + kSealOverhead, '\0');
        int length = 0;
        CSealer(secret, stream)
            .Seal(m_strPlain.data(), static_cast<int>(m_strPlain.size()), sealed.data(),
                  static_cast<int>(sealed.size()), length);
        sealed.resize(static_cast<size_t>(length));
        return sealed;
    }

    const CSealSecret m_secret;
    const LumoSealStream m_stream;
    const std::string m_strPlain;
    const size_t m_nClear = m_stream.medium == SEAL_VIDEO ? 3 : 0;
    std::string m_strBefore;
    std::mt19937 m_random{7};
};

/// Clients reach it over TCP, and it dials the real one for each.
class CHostileRelay {
public:
    CHostileRelay(uint16_t server, Forge down, Forge up = nullptr)
        : m_usServer(server), m_down(std::move(down)), m_up(std::move(up)), m_accepts([this] { AcceptAll(); }) {}
    ~CHostileRelay() {
        m_bOver = true;
        const CRawPeer wake = CRawPeer::Dial(m_listener.Port());
        m_accepts.join();
        for (const CRawPeer& peer : m_peers) ::shutdown(peer.Fd(), SHUT_RDWR);
        for (std::thread& carrier : m_carriers) carrier.join();
    }
    CHostileRelay(const CHostileRelay&) = delete;
    CHostileRelay& operator=(const CHostileRelay&) = delete;

    std::string Address() const { return "127.0.0.1:" + std::to_string(m_listener.Port()); }
    /// Everything that came from either side, as it came.
    std::string Seen() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_strSeen;
    }

private:
    void AcceptAll() {
        while (!m_bOver) {
            CRawPeer client = m_listener.Accept();
            if (!client || m_bOver) continue;
            const CRawPeer& near = m_peers.emplace_back(std::move(client));
            const CRawPeer& far = m_peers.emplace_back(CRawPeer::Dial(m_usServer));
            m_carriers.emplace_back([this, from = &near, to = &far] { Carry(*from, *to, m_up); });
            m_carriers.emplace_back([this, from = &far, to = &near] { Carry(*from, *to, m_down); });
        }
    }
    /// Until one of the two ends. Validation messages and control bytes pass as they are.
    void Carry(const CRawPeer& from, const CRawPeer& to, const Forge& forge) {
        constexpr size_t kHead = 5;
        for (;;) {
            const std::string head = from.Read(kHead);
            const std::string body = head.size() == kHead ? from.Read(LengthIn(head)) : "";
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_strSeen += head + body;
            }
            if (body.empty()) break;
            const bool forged = forge && head[4] == 0 && body.size() > 1;
            bool sent = true;
            for (const std::string& frame : forged ? forge(body) : std::vector<std::string>{body})
                sent = sent && to.Send(Framed(head[4], frame));
            if (!sent) break;
        }
        for (const CRawPeer* peer : {&from, &to}) ::shutdown(peer->Fd(), SHUT_RDWR);
    }
    static size_t LengthIn(const std::string& head) {
        size_t length = 0;
        for (int i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(head[static_cast<size_t>(i)]);
        return length;
    }

    const uint16_t m_usServer;
    const Forge m_down, m_up;
    const CRawListener m_listener;
    std::atomic<bool> m_bOver{false};
    std::list<CRawPeer> m_peers;  // the accepting thread's, until that has ended
    std::list<std::thread> m_carriers;
    std::mutex m_mutex;
    std::string m_strSeen;
    std::thread m_accepts;  // last: it uses the others
};

}  // namespace e2e
