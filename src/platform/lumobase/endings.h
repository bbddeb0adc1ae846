// Objects of a channel that have left their table and are still being ended.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// What ends an object may still use its channel, so the thread that removes the channel waits for it here. Any thread.
class CEndings {
public:
    /// In one step with leaving the table. Throws when there is no memory.
    void Begin(uint64_t channel);
    void End(uint64_t channel);
    /// Until no other thread ends an object of the channel. Hold no lock that ending one takes.
    void WaitForOthers(uint64_t channel);

private:
    using Ending = std::pair<uint64_t, std::thread::id>;

    std::mutex m_mutex;  // a leaf: held for the list alone
    std::condition_variable m_ended;
    std::vector<Ending> m_endings;  // under the mutex
};

/// Ends what Begin began, whatever is thrown meanwhile.
class CEndingScope {
public:
    CEndingScope(CEndings& endings, uint64_t channel) : m_endings(endings), m_ullChannel(channel) {}
    ~CEndingScope() { m_endings.End(m_ullChannel); }
    CEndingScope(const CEndingScope&) = delete;
    CEndingScope& operator=(const CEndingScope&) = delete;

private:
    CEndings& m_endings;
    const uint64_t m_ullChannel;
};
