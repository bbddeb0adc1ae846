// The channel of a board, which also hears what the far side says to the channel alone.
#pragma once

#include <lumomedia/whiteboard.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace lumo {

/// Called on the library's threads, in the order in which the far side spoke, and before the channel acts on it.
class IFarSideObserver {
public:
    /// Another client joins the channel to a far side.
    virtual void OnFarBegin() = 0;
    /// The far side's list of all that it holds, as a message.
    virtual void OnFarList(const char* message, int length) = 0;
    /// It offers an object, which the channel may have.
    virtual void OnFarOffer(uint32_t id) = 0;
    /// An object that was fetched, as a message.
    virtual void OnFarData(const char* message, int length) = 0;
    /// It, or the home server, has dealt with all that went there before this number was asked.
    virtual void OnFarEcho(uint32_t number) = 0;

protected:
    ~IFarSideObserver() = default;
};

class CBoardChannel final : public CWBChannel {
public:
    explicit CBoardChannel(uint32_t channel);

    /// Before Connect. The observer outlives the clients of the channel.
    void SetObserver(IFarSideObserver* observer) { m_pObserver = observer; }
    /// Asks for an echo: the far side by the offer of an object that nobody has, which every channel asks for at once;
    /// behind it the home server. False when the channel is nobody's guest.
    bool Probe(uint32_t number, bool home);
    /// To the far side alone; what the channel has does not change. False when there is none.
    bool SayToFarSide(const std::string& message);
    /// As if the far side had said it.
    void HearFromFarSide(const std::string& message);
    /// Shows the observer how the far side has an object that the channel has, too.
    void Fetch(uint32_t id);

    void AddWBSession(CWBSession* session) override;
    void RemoveWBSession(CWBSession* session) override;
    void OnWBChannelData(unsigned long sessionID, const char* data, int len) override;

private:
    bool IsFetched(uint32_t id);
    void ForgetFetched(const std::vector<uint32_t>& ids);

    const uint32_t m_ulProbe;  // the object that nobody has
    IFarSideObserver* m_pObserver = nullptr;
    std::atomic<bool> m_bHome{false};          // whom we asked last
    std::atomic<unsigned long> m_ulClient{0};  // the session that joins this channel to the far side; 0: none
    std::mutex m_mutex;
    std::set<uint32_t> m_fetched;  // these are to come
};

}  // namespace lumo
