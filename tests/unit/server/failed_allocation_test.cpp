// Whoever comes while memory is short is turned away whole: nothing of it stays behind, and it may come again.
#if !defined(__SANITIZE_THREAD__)
#if !defined(__has_feature)
#define LUMO_FAILS_ALLOCATIONS
#elif !__has_feature(thread_sanitizer)
#define LUMO_FAILS_ALLOCATIONS
#endif
#endif

#ifdef LUMO_FAILS_ALLOCATIONS
#include "file/local_mcu_file.h"
#include "link/process/link_registry.h"
#include "server_host.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <utility>

namespace {
thread_local long t_nUntilFailure = -1;  // allocations that still succeed; negative: all
}  // namespace

// Not inlined, or the compiler sees one half of a pair only and warns.
[[gnu::noinline]] void* operator new(size_t size) {
    if (t_nUntilFailure < 0 || t_nUntilFailure-- > 0)
        if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace {

using session_wire::U32;

std::string Relayed() { return U32(kChannel) + U32(0x7f000009) + U32(0) + U32(0); }

/// One datagram, or else the validation message of a connection.
struct Row {
    const char* what;
    bool published;
    std::string datagram;
    wire::TcpType type{};
    std::string payload = "";
};

const Row kRows[] = {
    {"a publisher over UDP", false, Hex("0640") + U32(kChannel) + U32(kKey)},
    {"a subscriber over UDP", true, Hex("0639") + U32(9) + U32(kChannel)},
    {"a subscriber of another server's channel", false, Hex("0639") + U32(9) + Relayed()},
    {"a whiteboard's client over UDP", false, Hex("0424") + U32(9) + U32(kChannel)},
    {"a publisher over TCP", false, "", wire::TcpType::FileSender, U32(kChannel)},
    {"a subscriber over TCP", true, "", wire::TcpType::FileReceiver, U32(kChannel)},
    {"one of another server's channel over TCP", false, "", wire::TcpType::FileReceiver, Relayed()},
    {"a whiteboard's client over TCP", false, "", wire::TcpType::Whiteboard, U32(kChannel)},
    {"a user of the signalling service", false, "", wire::TcpType::Signalling, U32(7)},
};

/// False: its connection is gone.
bool Come(const Row& row, CServerHost& host) {
    if (row.datagram.empty()) return host.Validate(row.type, row.payload) != nullptr;
    host.Deliver(row.datagram, kBob);
    return true;
}

/// What the server has.
std::vector<size_t> Count(CServerHost& host) {
    std::vector<size_t> counts{LinkRegistry().Count(), GetLocalMCUFile()->Tables().sinks.Size(),
                               host.server->Signalling().clients};
    for (const CMediumStatus& medium : host.server->Media())
        counts.insert(counts.end(), {medium.channels, medium.relays, medium.sourcesUdp, medium.sourcesTcp,
                                     medium.sinksUdp, medium.sinksTcp, medium.unvalidated});
    return counts;
}

/// Lets the n-th allocation fail. `failed`: there were so many.
bool ComeWithoutMemory(const Row& row, CServerHost& host, long n, bool& failed) {
    bool mayBeThere = !row.datagram.empty();
    t_nUntilFailure = n;
    try {
        mayBeThere = Come(row, host);
    } catch (const std::bad_alloc&) {  // the network library ends the connection
    }
    failed = std::exchange(t_nUntilFailure, -1) < 0;
    return mayBeThere;
}

}  // namespace

TEST(FailedAllocation, LeavesNothingBehind) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        std::vector<size_t> good;
        bool failed = true;
        for (long n = -1; failed; ++n) {  // first with all the memory there is
            SCOPED_TRACE(n);
            CServerHost host;
            if (row.published) host.Publish();
            const std::vector<size_t> before = Count(host);
            const bool mayBeThere = ComeWithoutMemory(row, host, n, failed);
            host.RunFor(1000);
            if (n < 0) good = Count(host);
            EXPECT_NE(good, before);
            const bool whole = mayBeThere && Count(host) == good;
            if (!whole && Count(host) != before) host.RunFor(620000, 1000);  // an empty board or a relay has its time
            const std::vector<size_t> after = Count(host);
            EXPECT_TRUE(whole || after == before) << testing::PrintToString(before) << testing::PrintToString(after);
            if (after == before) {
                EXPECT_TRUE(Come(row, host));
            }
            host.RunFor(1000);
            EXPECT_EQ(Count(host), good);
        }
    }
}

#endif
