#include "bench/path/path_emulator.h"

#include "bench/harness/clock.h"

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace bench {

namespace {

constexpr size_t kLargestPacket = 65536;
constexpr int64_t kLongestSleepNs = 50000000;
constexpr size_t kWaitSteps = 100000;  // tenths of a millisecond

}  // namespace

CPathDirection::CPathDirection(const PathSpec& spec, int from, int to, uint64_t seed)
    : m_spec(spec),
      m_from(from),
      m_to(to),
      m_random(seed),
      m_buffer(kLargestPacket),
      m_waits(kWaitSteps),
      m_thread([this] { Run(); }) {}

CPathDirection::~CPathDirection() {
    m_bEnds = true;
    m_thread.join();
}

void CPathDirection::Run() {
    prctl(PR_SET_TIMERSLACK, 1UL);
    while (!m_bEnds) {
        int64_t now = NowNs();
        LetOut(now);
        TakeIn(now);
        now = NowNs();
        const int64_t due = m_way.empty() ? now + kLongestSleepNs : m_way.front().due;
        const int64_t left = std::clamp<int64_t>(due - now, 0, kLongestSleepNs);
        const timespec sleep{0, left};
        pollfd wait{m_from, POLLIN, 0};
        ppoll(&wait, 1, &sleep, nullptr);
    }
}

void CPathDirection::TakeIn(int64_t now) {
    constexpr int kBurst = 64;  // then those that are due have their turn
    for (int i = 0; i < kBurst; ++i) {
        const ssize_t length = read(m_from, m_buffer.data(), m_buffer.size());
        if (length <= 0) return;
        Accept(now, static_cast<size_t>(length));
    }
}

void CPathDirection::Accept(int64_t now, size_t length) {
    ++m_nPackets;
    const double bytesPerNs = m_spec.megabits / 8000;
    const double queue = std::max(bytesPerNs * m_spec.roundTripMs * 1e6 * m_spec.queueProducts, 20000.0);
    m_freeAt = std::max(m_freeAt, now);
    if (static_cast<double>(m_freeAt - now) * bytesPerNs + static_cast<double>(length) > queue) {
        ++m_nQueueDrops;
        return;
    }
    ++m_waits[std::min(static_cast<size_t>((m_freeAt - now) / 100000), kWaitSteps - 1)];
    m_freeAt += static_cast<int64_t>(static_cast<double>(length) / bytesPerNs);
    if (IsLost()) return;
    m_way.push_back({m_freeAt + static_cast<int64_t>(m_spec.roundTripMs * 5e5),
                     std::vector<char>(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(length))});
}

bool CPathDirection::IsLost() {
    m_random = m_random * 6364136223846793005U + 1442695040888963407U;
    return static_cast<double>(m_random >> 11) / 9007199254740992.0 * 100 < m_spec.lossPercent;
}

void CPathDirection::LetOut(int64_t now) {
    for (; !m_way.empty() && m_way.front().due <= now; m_way.pop_front()) {
        const std::vector<char>& bytes = m_way.front().bytes;
        if (write(m_to, bytes.data(), bytes.size()) < 0) ++m_nQueueDrops;  // the receiving kernel is full
    }
}

double CPathDirection::MedianQueueMs() const {
    uint64_t all = 0, below = 0;
    for (const uint64_t count : m_waits) all += count;
    for (size_t i = 0; i < m_waits.size(); ++i) {
        below += m_waits[i];
        if (2 * below >= all) return static_cast<double>(i) / 10;
    }
    return 0;
}

CPathEmulator::CPathEmulator(const PathSpec& spec, bool relayed) {
    const auto add = [this](const std::vector<uint32_t>& addresses) {
        m_spaces.push_back(std::make_unique<CNetworkSpace>(addresses));
    };
    add({PathSpec::kSender});
    if (relayed) add({PathSpec::kServerOfSender, PathSpec::kServerOfReceiver});
    add({relayed ? PathSpec::kReceiverBehind : PathSpec::kReceiver});
    Join(spec, Sender().Cable(), relayed ? Server().Cable(0) : Receiver().Cable());
    if (relayed) Join(spec, Server().Cable(1), Receiver().Cable());
}

void CPathEmulator::Join(const PathSpec& spec, int left, int right) {
    for (const auto& [from, to] : {std::pair{left, right}, std::pair{right, left}})
        m_directions.push_back(std::make_unique<CPathDirection>(spec, from, to, m_directions.size() + 1));
}

}  // namespace bench
