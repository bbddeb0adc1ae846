#include "seal_scene.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

namespace {

using Nonce = std::pair<uint64_t, uint64_t>;

Nonce NonceOf(SealMedium medium, const std::string& sealed) {
    Nonce nonce{0, 0};
    EXPECT_TRUE(ReadSealedFrame(medium, sealed.data(), static_cast<int>(sealed.size()), nonce.first, nonce.second));
    return nonce;
}

TEST(Sealer, GrowsAFrameByNoMoreThanItSays) {
    CSealer sealer(Secret(), kFile);
    for (const uint64_t counter : {uint64_t{0}, uint64_t{7}, uint64_t{8}, uint64_t{65536}, UINT64_C(0xffffffff)}) {
        CSealerState::Seem(sealer, counter, 0);
        const std::string sealed = Sealed(sealer, std::string(1000, 'f'));
        EXPECT_GE(static_cast<unsigned char>(sealed[0]), 0xf0U);
        EXPECT_LE(sealed.size(), 1000U + kSealOverhead);
        EXPECT_EQ(NonceOf(SEAL_FILE, sealed).second, counter);
    }
}

TEST(Sealer, NeverUsesANonceTwice) {
    constexpr size_t kFrames = 500000;
    constexpr uint64_t kFew = 1000;
    CSealer sealer(Secret(), kAudio);
    // Both of its limits are reached while two threads seal.
    CSealerState::Seem(sealer, CSealerState::kFramesOfKey - kFew, CSealerState::kBytesOfKey - kFew * kFew);
    std::vector<Nonce> nonces[2];
    const auto seal = [&](std::vector<Nonce>& mine) {
        for (size_t i = 0; i < kFrames; ++i) {
            mine.push_back(NonceOf(SEAL_AUDIO, Sealed(sealer, "x")));
            if (i == kFrames / 2) CSealerState::Seem(sealer, 0, CSealerState::kBytesOfKey);
        }
    };
    std::thread other(seal, std::ref(nonces[1]));
    seal(nonces[0]);
    other.join();
    std::vector<Nonce> all = nonces[0];
    all.insert(all.end(), nonces[1].begin(), nonces[1].end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all.size(), 2 * kFrames);
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    std::set<uint64_t> keyIDs;
    for (const Nonce& nonce : all) keyIDs.insert(nonce.first);
    EXPECT_GE(keyIDs.size(), 3U);
    EXPECT_TRUE(std::all_of(all.begin(), all.end(), [](const Nonce& nonce) { return nonce.second < 1ULL << 32; }));
}

TEST(Sealer, DrawsAKeyIDAtEachOfItsLimits) {
    const CHandOfClock clock;
    struct Row {
        uint64_t counter, bytes;
        int64_t minutes;
        bool drawn;
    };
    const Row rows[] = {{CSealerState::kFramesOfKey - 1, 0, 0, false},  {CSealerState::kFramesOfKey, 0, 0, true},
                        {9, CSealerState::kBytesOfKey - 5, 0, false},   {9, CSealerState::kBytesOfKey - 4, 0, true},
                        {9, 0, CSealerState::kMinutesOfKey - 1, false}, {9, 0, CSealerState::kMinutesOfKey, true}};
    for (const Row& row : rows) {
        for (const bool shared : {false, true}) {
            CSealer sealer(Secret(), kFile, SEAL_AES_128_GCM_SHA256_128, shared ? CSealer::StartNow() : 0);
            const uint64_t before = sealer.GetKeyID();
            CSealerState::Seem(sealer, row.counter, row.bytes);
            CHandOfClock::Move(row.minutes);
            const Nonce nonce = NonceOf(SEAL_FILE, Sealed(sealer, "frame"));
            const bool drawn = row.drawn && !(shared && row.minutes > 0);
            EXPECT_EQ(nonce.first != before, drawn) << row.counter << ' ' << row.bytes << ' ' << row.minutes;
            EXPECT_EQ(nonce.second, drawn ? 0 : row.counter);
            EXPECT_EQ(seal::StartOf(nonce.first) - seal::StartOf(before),
                      drawn && !shared ? static_cast<uint64_t>(row.minutes) : 0);
        }
    }
}

TEST(Sealer, StartsAnewUnderAnotherKeyID) {
    std::set<uint64_t> keyIDs;
    for (int i = 0; i < 200; ++i) {
        CSealer sealer(Secret(), kVideo);
        EXPECT_EQ(sealer.GetKeyID() >> 63, 1U);
        keyIDs.insert(sealer.GetKeyID());
    }
    EXPECT_EQ(keyIDs.size(), 200U);
}

TEST(Sealer, DoesNotGoBackWithTheClock) {
    const CHandOfClock clock;
    CSealer sealer(Secret(), kVideo);
    const uint64_t before = sealer.GetKeyID();
    CHandOfClock::Move(-100);
    CSealerState::Seem(sealer, CSealerState::kFramesOfKey, 0);
    EXPECT_EQ(NonceOf(SEAL_VIDEO, Sealed(sealer, "frame")).first >> 32, before >> 32);
}

TEST(Sealer, RefusesInTheChildOfAFork) {
    CSealer sealer(Secret(), kFile);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        char room[100];
        int length = 1;
        void* at = nullptr;
        const bool refused = sealer.Seal("frame", 5, room, sizeof room, length) == SEAL_FORKED && length == 0 &&
                             sealer.SealInPlace(room + kSealRoomBefore, 5, at, length) == SEAL_FORKED;
        CSealer own(Secret(), kFile);
        _exit(refused && !Sealed(own, "frame").empty() && own.GetKeyID() != sealer.GetKeyID() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_NE(Sealed(sealer, "frame"), "") << "the parent goes on";
}

TEST(Sealer, FailsWhereTheCryptographicLibraryRefuses) {
    CSealer before(Secret(), kFile);
    const std::string sealed = Sealed(before, "frame");
    ASSERT_EQ(EVP_set_default_properties(nullptr, "provider=none"), 1);
    CSealer sealer(Secret(), kFile);
    COpener opener(Secret(), kFile);
    EXPECT_EQ(Sealed(sealer, "frame"), "");
    EXPECT_EQ(Open(opener, sealed).outcome, SEAL_FAILED);
    ASSERT_EQ(EVP_set_default_properties(nullptr, ""), 1);
    EXPECT_EQ(Open(opener, sealed).outcome, SEAL_FAILED) << "it has never had a secret";
    EXPECT_NE(Sealed(before, "frame"), "");
}

// In place, in parts and into other memory the same bytes come out, and nothing beside them is touched.
TEST(Sealer, SealsAndOpensWhereTheCallerWants) {
    for (const LumoSealStream& stream : {kAudio, kVideo, kFile}) {
        for (const size_t size : {size_t{3}, size_t{4}, size_t{65536}}) {
            std::string frame(size, 'f');
            frame[0] = 1;
            CSealer sealer(Secret(), stream);
            const std::string whole = Sealed(sealer, frame);

            CSealerState::Seem(sealer, 0, 0);
            std::string parts(whole.size() + 1, 'z');
            const LumoSealPart three[] = {
                {frame.data(), 1}, {nullptr, 0}, {frame.data() + 1, static_cast<int>(size) - 1}};
            int length = 0;
            ASSERT_EQ(sealer.SealParts(three, 3, parts.data(), static_cast<int>(whole.size()), length), SEAL_DONE);
            EXPECT_EQ(parts, whole + "z");
            EXPECT_EQ(length, static_cast<int>(whole.size()));

            CSealerState::Seem(sealer, 0, 0);
            std::string place = std::string(kSealRoomBefore, 'a') + frame + std::string(kSealRoomAfter + 1, 'z');
            void* at = nullptr;
            ASSERT_EQ(sealer.SealInPlace(&place[kSealRoomBefore], static_cast<int>(size), at, length), SEAL_DONE);
            EXPECT_EQ(std::string(static_cast<char*>(at), static_cast<size_t>(length)), whole);
            EXPECT_EQ(place.back(), 'z');

            COpener opener(Secret(), stream);
            ASSERT_EQ(opener.OpenInPlace(at, length, at, length), SEAL_DONE);
            EXPECT_EQ(std::string(static_cast<char*>(at), static_cast<size_t>(length)), frame);
            EXPECT_EQ(opener.OpenInPlace(place.data(), 1, at, length), SEAL_PLAIN);
            EXPECT_EQ(at, nullptr);
        }
    }
}

TEST(Sealer, RefusesWhatDoesNotFitAndUsesNoCounter) {
    CSealer sealer(Secret(), kVideo);
    char room[100];
    int length = 1;
    EXPECT_EQ(sealer.Seal("frame", 5, room, 5 + 9 + 15, length), SEAL_NO_ROOM);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(sealer.Seal("fr", 2, room, sizeof room, length), SEAL_FAILED) << "it lacks a clear byte";
    EXPECT_EQ(sealer.Seal("frame", -5, room, sizeof room, length), SEAL_FAILED);
    EXPECT_EQ(sealer.Seal("frame", 5, room, 5 + 9 + 16, length), SEAL_DONE);
    EXPECT_EQ(NonceOf(SEAL_VIDEO, std::string(room, 30)).second, 0U);

    COpener opener(Secret(), kVideo);
    char frame[5];
    EXPECT_EQ(opener.Open(room, 30, frame, 4, length), SEAL_NO_ROOM);
    EXPECT_EQ(opener.Open(room, 30, frame, 5, length), SEAL_DONE);
    EXPECT_EQ(std::string(frame, 5), "frame");
}

}  // namespace
