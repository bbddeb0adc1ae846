#include "platform/lumobase/clock.h"
#include "platform/lumobase/forks.h"

#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>

namespace {

using TimestampSource = unsigned long (*)();
using MicrosecondSource = uint64_t (*)();
using RandomSource = uint32_t (*)();
std::atomic<TimestampSource> g_source{nullptr};
std::atomic<MicrosecondSource> g_microseconds{nullptr};
std::atomic<RandomSource> g_random{nullptr};

uint64_t ReadClock() {
    if (const MicrosecondSource source = g_microseconds.load(std::memory_order_relaxed)) return source();
    if (const TimestampSource source = g_source.load(std::memory_order_relaxed)) return uint64_t{source()} * 1000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

/// What CTimeHold holds on one thread.
struct HeldTime {
    unsigned depth = 0;
    bool known = false;
    uint64_t now = 0;  // us
};
constinit thread_local HeldTime t_held;

/// Random words of one thread, fetched many at a time. A child must not draw the words that its parent will draw too.
struct RandomWords {
    std::array<uint32_t, 32> words;
    size_t left = 0;
    unsigned forks = 0;
};

void Refill(RandomWords& random) noexcept {
    if (getentropy(random.words.data(), sizeof random.words) != 0) {
        // Identifiers that can be guessed would be worse than none: a device that throws ends the process.
        std::random_device device;
        for (uint32_t& word : random.words) word = device();
    }
    random.left = random.words.size();
    random.forks = Lumo_Base::Forks();
}

}  // namespace

namespace Lumo_Base {

unsigned long GetTimestamp() { return static_cast<uint32_t>(GetMicroseconds() / 1000); }

uint64_t GetMicroseconds() {
    HeldTime& held = t_held;
    if (held.depth == 0) return ReadClock();
    if (!held.known) {
        held.now = ReadClock();
        held.known = true;
    }
    return held.now;
}

void CTimeHold::Begin() { ++t_held.depth; }

void CTimeHold::End() {
    HeldTime& held = t_held;
    if (held.depth > 0 && --held.depth == 0) held.known = false;
}

CTimeUnheld::CTimeUnheld() : m_nHolds(std::exchange(t_held, {}).depth) {}

CTimeUnheld::~CTimeUnheld() { t_held = {m_nHolds, false, 0}; }

uint64_t ThreadTime() {
    if (const TimestampSource source = g_source.load(std::memory_order_relaxed)) return uint64_t{source()} * 1000000U;
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

void SetTimestampSource(unsigned long (*source)()) { g_source.store(source, std::memory_order_relaxed); }
void SetMicrosecondSource(uint64_t (*source)()) { g_microseconds.store(source, std::memory_order_relaxed); }
void SetRandomSource(uint32_t (*source)()) { g_random.store(source, std::memory_order_relaxed); }

unsigned long GenerateSSRC() {
    if (const RandomSource source = g_random.load(std::memory_order_relaxed)) return source();
    thread_local RandomWords random;
    uint32_t word = 0;
    while (word == 0) {
        if (random.left == 0 || random.forks != Forks()) Refill(random);
        // Wiped once drawn: a later look into the memory must not tell identifiers that are in use.
        uint32_t& drawn = random.words[--random.left];
        word = drawn;
        drawn = 0;
    }
    return word;
}

}  // namespace Lumo_Base
