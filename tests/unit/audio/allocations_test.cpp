// A frame reaches its listeners without an allocation. Sanitizers count by themselves and keep these functions to
// themselves: with them this is left out.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
#if !defined(__has_feature)
#define LUMO_COUNTS_ALLOCATIONS
#elif !__has_feature(thread_sanitizer) && !__has_feature(address_sanitizer)
#define LUMO_COUNTS_ALLOCATIONS
#endif
#endif

#ifdef LUMO_COUNTS_ALLOCATIONS
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "lumomedia/local_mcu.h"
#include "platform/lumonet/lumonet.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace {
thread_local bool t_bCounting = false;
thread_local size_t t_nAllocations = 0;
}  // namespace

// Not inlined, or the compiler sees one half of a pair only and warns.
[[gnu::noinline]] void* operator new(size_t size) {
    if (t_bCounting) ++t_nAllocations;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept { std::free(memory); }

TEST(AudioFanOut, AllocatesNothing) {
    ILocalMcuMgr* manager = CreateLocalMcuMgr(0);
    ASSERT_TRUE(manager);
    CAudioChannel channel(77);
    auto* mcu = GetLocalMCUAudio();
    constexpr uint32_t kListeners = 300;
    for (uint32_t i = 1; i <= kListeners; ++i)
        mcu->ConnectSink(i, 77, 1, 0x7f000001 + i, static_cast<uint16_t>(20000 + i));
    for (CAudioSink& sink : mcu->Tables().sinks.Each()) sink.AsUDP()->OnReceivedStart();
    const std::string frame(160, 'x');
    channel.OnAudioChannelData(frame.data(), 160);  // the thread's batch is made once
    const unsigned long long before = GetUdpCounters().sent + GetUdpCounters().refused;
    t_nAllocations = 0;
    t_bCounting = true;
    for (int i = 0; i < 10; ++i) channel.OnAudioChannelData(frame.data(), 160);
    t_bCounting = false;
    EXPECT_EQ(t_nAllocations, 0U);
    EXPECT_EQ(GetUdpCounters().sent + GetUdpCounters().refused - before, 10U * kListeners);
    channel.ReleaseConnections();
    manager->ReleaseConnections();
}

#endif
