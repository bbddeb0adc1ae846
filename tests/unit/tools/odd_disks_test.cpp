// Disks that are full, that know less than others, or that give files another owner.
#include "unit/tools/arrivals.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/fsuid.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstddef>
#include <functional>
#include <thread>

using namespace arrivals;

namespace {

struct FailingCall {
    long number;
    int error;
};

/// Runs `body` on a thread of its own, where the kernel refuses these calls.
void WithFailing(const std::vector<FailingCall>& calls, const std::function<void()>& body) {
    std::thread([&] {
        std::vector<sock_filter> program{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
        for (const FailingCall& call : calls) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(call.error)));
        }
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
        ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
        body();
    }).join();
}

TEST(OddDisk, AFullOneLeavesNothingInTheWay) {
    const CScratch scratch;
    WithFailing({{SYS_pwrite64, ENOSPC}}, [&] {
        EXPECT_EQ(Attempt(scratch).reason, Failure::NoSpace);
        EXPECT_TRUE(scratch.Names().empty());
    });
    EXPECT_EQ(Attempt(scratch).result, OpenResult::Fetch);
}

TEST(OddDisk, WithoutLocksFilesArriveAllTheSame) {
    const std::pair<int, const char*> rows[] = {{ENOLCK, ""},
                                                {ENOSYS, ""},
                                                {EOPNOTSUPP, ""},
                                                {EWOULDBLOCK, "another transfer is writing it"},
                                                {EIO, "cannot lock a.part.map: Input/output error"}};
    for (const auto& [error, problem] : rows) {
        WithFailing({{SYS_flock, error}}, [error = error, problem = std::string(problem)] {
            const CScratch scratch;
            const Attempt attempt(scratch);
            EXPECT_EQ(attempt.result, problem.empty() ? OpenResult::Fetch : OpenResult::Refused) << error;
            EXPECT_EQ(attempt.problem, problem);
        });
    }
}

TEST(OddDisk, TheFinalNameIsTakenWhereRenamesAndLinksAreNotExclusive) {
    for (const bool links : {true, false}) {
        for (const bool taken : {false, true}) {
            const CScratch scratch;
            std::vector<FailingCall> calls{{SYS_renameat2, EINVAL}, {SYS_fsync, EINVAL}};
            if (!links) calls.push_back({SYS_linkat, EPERM});
            WithFailing(calls, [&] {
                const Attempt attempt(scratch, "new");
                if (taken) scratch.Put("a", "mine");
                EXPECT_EQ(attempt.Finish(), !taken) << attempt->Problem();
                EXPECT_EQ(attempt->Reason(), taken ? Failure::Exists : Failure::None);
            });
            EXPECT_EQ(scratch.Get("a"), taken ? "mine" : "new") << links;
            EXPECT_EQ(scratch.Names().count("a.part"), taken ? 1U : 0U);
        }
    }
}

TEST(OddDisk, OwnersMayBeMappedButStrangersAreKeptOut) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root, to have files of somebody else";
    constexpr uid_t kMapped = 65534, kStranger = 12345;
    const CScratch scratch;
    ASSERT_EQ(chmod((scratch / "").c_str(), 0777), 0);
    Attempt(scratch, Data()).Write(Data(), 0, 10);
    const auto give = [&](const char* name, uid_t owner) { ASSERT_EQ(chown((scratch / name).c_str(), owner, 0), 0); };
    const auto held = [&] {
        const Attempt attempt(scratch);
        EXPECT_TRUE(attempt.store || attempt.reason == Failure::Exists) << attempt.problem;
        return attempt.store ? attempt->Have().Held() : 0;
    };
    give("a.part", kMapped);
    give("a.part.map", kMapped);
    EXPECT_EQ(held(), 0U) << "somebody else's";
    std::thread([&] {
        setfsuid(kMapped);  // files of this thread belong to that user, as where a server takes root for nobody
        EXPECT_EQ(held(), 10U);
        EXPECT_EQ(scratch.Names().size(), 2U) << "a trace of how the owner was found out";
    }).join();
    give("a.part", kStranger);
    fs::permissions(scratch / "a.part", fs::perms(0666));
    std::thread([&] {
        setfsuid(kMapped);
        EXPECT_EQ(held(), 0U);
    }).join();
    EXPECT_EQ(scratch.Names().size(), 2U);
}

}  // namespace
