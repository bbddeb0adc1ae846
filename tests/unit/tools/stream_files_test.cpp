// Inputs of published streams that fail, come later, or never end.
#include "tools/lumo/media/stream_files.h"
#include "opened_medium.h"
#include "platform/lumonet/socket_address.h"
#include "support/pipe.h"
#include "tools/lumo/demo/sockets.h"
#include "tools/lumo/media/audio_publish_medium.h"
#include "tools/lumo/media/desktop_publish_medium.h"
#include "tools/lumo/media/video_publish_medium.h"

#include <poll.h>

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
    std::string problem;
    const Endpoint gone = LocalEndpoint(OpenSocket(SOCK_DGRAM, {INADDR_LOOPBACK, 0}, problem).Get());
    CFileDescriptor alarm = OpenSocket(SOCK_DGRAM, {INADDR_LOOPBACK, 0}, problem);
    const sockaddr_in nobody = ToSocketAddress(gone.ip, gone.port);
    int on = 1, error = 0;
    socklen_t length = sizeof error;
    EXPECT_EQ(setsockopt(alarm.Get(), IPPROTO_IP, IP_RECVERR, &on, sizeof on), 0);
    EXPECT_EQ(connect(alarm.Get(), reinterpret_cast<const sockaddr*>(&nobody), sizeof nobody), 0);
    EXPECT_EQ(send(alarm.Get(), "x", 1, 0), 1);
    EXPECT_EQ(getsockopt(alarm.Get(), SOL_SOCKET, SO_ERROR, &error, &length), 0);  // takes the error, not the report
    return alarm;
}

TEST(StreamInput, WhatIsNotThereYetIsNoEnd) {
    CPipe pipe(O_NONBLOCK);
    const CStandardInput standard(pipe.read.Get());
    CStreamInput input;
    std::string problem;
    ASSERT_TRUE(input.Open("-", problem));
    char byte = 0;
    EXPECT_EQ(input.Read(&byte, 1), -1);
    pipe.Write("x");
    EXPECT_EQ(input.Read(&byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    pipe.write.Reset();
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

TEST(StreamInput, OnlyAFileCanBeginAgain) {
    CAudioPublishMedium audio;
    CVideoPublishMedium video;
    for (IPublishMedium* const medium : std::initializer_list<IPublishMedium*>{&audio, &video}) {
        CCommandLine line;
        CCommand command = line.Root();
        medium->AddOptions(command);
        EXPECT_TRUE(line.Run({"/dev/null", "--loop"}));
        std::string problem;
        EXPECT_FALSE(medium->Prepare(problem));
        EXPECT_EQ(problem, "/dev/null: --loop needs a file, which can be read again");
    }
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
