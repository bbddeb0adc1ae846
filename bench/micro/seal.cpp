// What sealing and opening cost a frame on one core, and what an opener loses to a frame of a sender that it never
// heard.
#include <lumomedia/seal.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

constexpr LumoSealStream kStream{SEAL_FILE, SEAL_DOWN, 7};

CSealSecret Secret() {
    CSealSecret secret;
    secret.Draw();
    return secret;
}

SealSuite SuiteOf(const benchmark::State& state) {
    return state.range(1) == 256 ? SEAL_AES_256_GCM_SHA512_128 : SEAL_AES_128_GCM_SHA256_128;
}

void SealFrame(benchmark::State& state) {
    CSealer sealer(Secret(), kStream, SuiteOf(state));
    const std::vector<char> frame(static_cast<size_t>(state.range(0)), 'x');
    std::vector<char> sealed(frame.size() + kSealOverhead);
    int length = 0;
    for (auto _ : state) {
        if (sealer.Seal(frame.data(), static_cast<int>(frame.size()), sealed.data(), static_cast<int>(sealed.size()),
                        length) != SEAL_DONE)
            state.SkipWithError("not sealed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(SealFrame)->ArgNames({"bytes", "key"})->ArgsProduct({{1000, 64 * 1024}, {128, 256}});

/// Frames are sealed while the clock stands still; as many as stay in the processor's cache.
void OpenFrame(benchmark::State& state) {
    const CSealSecret secret = Secret();
    CSealer sealer(secret, kStream, SuiteOf(state));
    COpener opener(secret, kStream, SuiteOf(state));
    const std::vector<char> plain(static_cast<size_t>(state.range(0)), 'x');
    std::vector<char> frame(plain.size() + kSealOverhead);
    std::vector<std::vector<char>> sealed(16, frame);
    std::vector<int> lengths(sealed.size());
    size_t next = sealed.size();
    for (auto _ : state) {
        if (next == sealed.size()) {
            state.PauseTiming();
            for (next = 0; next < sealed.size(); ++next)
                sealer.Seal(plain.data(), static_cast<int>(plain.size()), sealed[next].data(),
                            static_cast<int>(frame.size()), lengths[next]);
            next = 0;
            state.ResumeTiming();
        }
        int length = 0;
        if (opener.Open(sealed[next].data(), lengths[next], frame.data(), static_cast<int>(frame.size()), length) !=
            SEAL_DONE)
            state.SkipWithError("not opened");
        ++next;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(OpenFrame)->ArgNames({"bytes", "key"})->ArgsProduct({{1000, 64 * 1024}, {128, 256}});

void DropInventedFrame(benchmark::State& state) {
    const CSealSecret secret = Secret();
    CSealer sealer(secret, kStream);
    COpener opener(secret, kStream);
    char frame[100] = {};
    char sealed[sizeof frame + kSealOverhead];
    int length = 0, opened = 0;
    sealer.Seal(frame, sizeof frame, sealed, sizeof sealed, length);
    unsigned invented = 0;
    for (auto _ : state) {
        ++invented;
        std::memcpy(sealed + 5, &invented, sizeof invented);  // the random half of its key ID
        if (opener.Open(sealed, length, frame, sizeof frame, opened) == SEAL_DONE) state.SkipWithError("opened");
    }
}
BENCHMARK(DropInventedFrame);

}  // namespace
