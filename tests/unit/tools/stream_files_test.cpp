// Inputs of published streams that fail, come later, or never end.
#include "tools/lumo/media/stream_files.h"
#include "opened_medium.h"
#include "tools/lumo/media/audio_publish_medium.h"
#include "tools/lumo/media/desktop_publish_medium.h"
#include "tools/lumo/media/video_publish_medium.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace lumo;

namespace {

/// Gives this process another standard input for a while.
class CStandardInput {
public:
    explicit CStandardInput(int fd) : m_before(dup(STDIN_FILENO)) { dup2(fd, STDIN_FILENO); }
    ~CStandardInput() { m_before ? dup2(m_before.Get(), STDIN_FILENO) : close(STDIN_FILENO); }
    CStandardInput(const CStandardInput&) = delete;
    CStandardInput& operator=(const CStandardInput&) = delete;

private:
    const CFileDescriptor m_before;
};

/// Says that it has something, though a read finds nothing: a report of an unreachable port waits in its error queue.
CFileDescriptor MakeFalseAlarm() {
    sockaddr_in nobody{};
    nobody.sin_family = AF_INET;
    nobody.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const address = reinterpret_cast<sockaddr*>(&nobody);
    socklen_t length = sizeof nobody;
    CFileDescriptor gone(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    CFileDescriptor alarm(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(gone.Get(), address, length), 0);
    EXPECT_EQ(getsockname(gone.Get(), address, &length), 0);
    gone.Reset();
    int on = 1, error = 0;
    length = sizeof error;
    EXPECT_EQ(setsockopt(alarm.Get(), IPPROTO_IP, IP_RECVERR, &on, sizeof on), 0);
    EXPECT_EQ(connect(alarm.Get(), address, sizeof nobody), 0);
    EXPECT_EQ(send(alarm.Get(), "x", 1, 0), 1);
    EXPECT_EQ(getsockopt(alarm.Get(), SOL_SOCKET, SO_ERROR, &error, &length), 0);  // takes the error, not the report
    return alarm;
}

TEST(StreamInput, WhatIsNotThereYetIsNoEnd) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    CFileDescriptor from(ends[0]), into(ends[1]);
    const CStandardInput standard(from.Get());
    CStreamInput input;
    std::string problem;
    ASSERT_TRUE(input.Open("-", problem));
    char byte = 0;
    EXPECT_EQ(input.Read(&byte, 1), -1);
    ASSERT_EQ(write(into.Get(), "x", 1), 1);
    EXPECT_EQ(input.Read(&byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    into.Reset();
    EXPECT_EQ(input.Read(&byte, 1), 0);
    EXPECT_EQ(input.Problem(), "");
    const CFileDescriptor alarm = MakeFalseAlarm();
    pollfd ready{alarm.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 1);
    const CStandardInput another(alarm.Get());
    EXPECT_EQ(input.Read(&byte, 1), -1);
    EXPECT_EQ(input.Problem(), "");
}

TEST(StreamInput, AFailureEndsEveryStreamAloud) {
    CStreamInput input;
    std::string problem;
    ASSERT_TRUE(input.Open("/", problem));
    char byte = 0;
    EXPECT_EQ(input.Read(&byte, 1), 0);
    EXPECT_EQ(input.Problem(), "cannot read /: Is a directory");
    const CFileDescriptor folder(open("/", O_RDONLY | O_CLOEXEC));
    const CStandardInput standard(folder.Get());
    COpenedMedium<CAudioPublishMedium> audio({"-"});
    COpenedMedium<CVideoPublishMedium> video({"-"});
    COpenedMedium<CDesktopPublishMedium> desktop({"-"});
    for (IPublishMedium* const medium :
         std::initializer_list<IPublishMedium*>{&audio.medium, &video.medium, &desktop.medium}) {
        medium->Turn(1000);
        medium->Turn(10000);  // a desktop first waits for the server
        EXPECT_TRUE(medium->Over()) << medium->Name();
        EXPECT_EQ(medium->Problem(), "cannot read standard input: Is a directory") << medium->Name();
    }
}

template <class Medium>
std::string ProblemOf(const std::vector<std::string>& words) {
    Medium medium;
    lumo::CCommandLine line;
    lumo::CCommand command = line.Root();
    medium.AddOptions(command);
    EXPECT_TRUE(line.Run(words));
    std::string problem;
    EXPECT_FALSE(medium.Prepare(problem));
    return problem;
}

TEST(StreamInput, OnlyAFileCanBeginAgain) {
    const std::string problem = "/dev/null: --loop needs a file, which can be read again";
    EXPECT_EQ(ProblemOf<CAudioPublishMedium>({"/dev/null", "--loop"}), problem);
    EXPECT_EQ(ProblemOf<CVideoPublishMedium>({"/dev/null", "--loop"}), problem);
}

TEST(StreamInput, AnEndlessOneWithoutPaceLetsOthersHaveTheirTurn) {
    COpenedMedium<CVideoPublishMedium> video({LUMO_SOURCE_DIR "/assets/sample.h264", "--loop", "--fps", "0"});
    const auto frames = [&video] { return video.medium.Details()["frames"].get<uint64_t>(); };
    EXPECT_EQ(video.medium.Turn(1000), 0U);
    EXPECT_LT(frames(), 250U) << "one round of it";
    for (int turn = 0; turn < 1000 && frames() < 600; ++turn) EXPECT_EQ(video.medium.Turn(1001), 0U);
    EXPECT_GE(frames(), 600U);
    EXPECT_FALSE(video.medium.Over());
}

}  // namespace
