// Streams sealed end to end between real processes: what a hostile relay gets into them and out of them, and what is
// said where the two ends do not fit.
#include "e2e/hostile_relay.h"
#include "e2e/relay_test.h"
#include "support/pipe.h"
#include "tools/lumo/demo/audio_demo.h"
#include "tools/lumo/demo/samples.h"
#include "tools/lumo/media/audio_frame.h"
#include "tools/lumo/media/desktop_frame.h"
#include "tools/lumo/media/ogg_opus_reader.h"
#include "tools/lumo/media/video_check.h"
#include "tools/lumo/media/video_frame.h"
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/seal/stream_seal.h"
#include "tools/lumo/transfer/messages.h"

#include <csignal>

namespace e2e {
namespace {

constexpr uint32_t kChannel = 77;

class Sealed : public CRelayTest {
protected:
    Sealed() {
        folder.Put("spoken", std::string(lumo::Sample("sample.opus")));
        folder.Put("film", std::string(lumo::Sample("sample.h264")));
        StartRelay();
    }
    /// `lumo publish` with these words, on a channel of its own.
    Process& Publish(const std::string& words, uint32_t channel = kChannel, int input = -1) {
        return Client("publish " + words + " --channel " + std::to_string(channel), input);
    }
    static CSealSecret SecretOf(const std::string& link) {
        lumo::ShareLink parsed;
        std::string problem;
        EXPECT_TRUE(lumo::ParseShareLink(link, parsed, problem)) << problem;
        return parsed.secret;
    }
    Process& Subscribe(const std::string& link, const CHostileRelay& relay, const std::string& words, int input = -1) {
        return Lumo("subscribe " + link + " --json --tcp --path relay --wait 10 --mcu " + relay.Address() + " " + words,
                    input);
    }
    uint16_t Port() const { return static_cast<uint16_t>(std::stoul(port)); }
    /// Every way in which something was added has been tried and refused.
    static void ExpectAllRefused(const Json& end, uint64_t carried) {
        const Json& dropped = end["not_opened"];
        EXPECT_GT(carried, 2U);
        EXPECT_GE(dropped.value("wrong", uint64_t{0}), 3 * (carried - 1)) << end;
        for (const char* reason : {"plain", "malformed", "repeated"})
            EXPECT_GE(dropped.value(reason, uint64_t{0}), carried - 1) << reason << end;
    }
    static void ExpectUnseen(const std::string& seen, const std::string& bytes) {
        EXPECT_EQ(seen.find(bytes), std::string::npos) << bytes.size() << " bytes have passed in the clear";
    }
};

std::vector<std::string> PacketsOf(const std::string& file) {
    lumo::COggOpusReader reader;
    reader.Feed(file.data(), file.size());
    reader.Finish();
    std::vector<std::string> packets;
    for (std::string packet; reader.Next(packet) == lumo::COggOpusReader::Result::Packet;) packets.push_back(packet);
    return packets;
}

TEST_F(Sealed, AHostileRelayAddsNothingToASoundAndHearsNothing) {
    const std::string link = LinkOf(Publish("audio spoken --loop"));
    CForger forger(SecretOf(link), {SEAL_AUDIO, SEAL_DOWN, kChannel},
                   Encode(lumo::AudioFrame{3, 2880, 1, "\x08" + std::string(30, 'F')}));
    CHostileRelay relay(Port(), std::ref(forger));
    const Json end = End(Subscribe(link, relay, "--seconds 2 -o heard"));
    ExpectAllRefused(end, end["packets"]);
    EXPECT_EQ(end["late"], 0) << "something came twice";
    const auto published = PacketsOf(folder.Get("spoken")), heard = PacketsOf(folder.Get("heard"));
    ASSERT_GT(heard.size(), 50U);
    EXPECT_EQ(lumo::PacketsThatDiffer(published, heard), 0U);
    const std::string seen = relay.Seen();
    ExpectUnseen(seen, "OpusHead");
    ExpectUnseen(seen, "OpusTags");
    for (const std::string& packet : published)
        if (packet.size() > 8) ExpectUnseen(seen, packet.substr(1, 8));
}

TEST_F(Sealed, AHostileRelayAddsNothingToAFilmAndSeesNothing) {
    const std::string link = LinkOf(Publish("video film --loop"));
    CForger forger(SecretOf(link), {SEAL_VIDEO, SEAL_DOWN, kChannel},
                   Encode(lumo::VideoFrame{true, 3, std::string("\0\0\0\1\x65", 5) + "forged"}));
    CHostileRelay relay(Port(), std::ref(forger));
    const Json end = End(Subscribe(link, relay, "--seconds 3 -o seen"));
    ExpectAllRefused(end, end["frames"]);
    EXPECT_LE(end["skipped"], end["frames"].get<int>() / 10) << "a busy machine may skip a few: " << end;
    const lumo::VideoVerdict verdict = lumo::CheckVideo("film", "seen");
    EXPECT_EQ(verdict.problem, "");
    EXPECT_GT(verdict.units, 20U);
    const std::string seen = relay.Seen(), film = folder.Get("film");
    for (size_t at = 0; at + 16 < film.size(); at += 997) ExpectUnseen(seen, film.substr(at, 16));
}

TEST_F(Sealed, AHostileRelayShowsNothingAndPointsNowhere) {
    CPipe screen, pointer;
    Process& publisher = Publish("desktop -", kChannel, screen.read.Get());
    const std::string link = LinkOf(publisher);
    const auto jpeg = [](const std::string& content) {
        return std::string("\xff\xd8\xff\xda\x00\x02", 6) + content + "\xff\xd9";
    };
    lumo::DesktopHead head{lumo::DesktopKind::Picture, lumo::PictureFormat::Jpeg, 1, 1, 1, 1};
    lumo::ViewReport report;
    report.viewer = 4711;
    report.pointerX = report.pointerY = 13;
    CForger forger(SecretOf(link), {SEAL_DESKTOP, SEAL_DOWN, kChannel}, Encode(head, jpeg("forged"))),
        points(SecretOf(link), {SEAL_DESKTOP, SEAL_UP, kChannel}, Encode(report));
    CHostileRelay relay(Port(), std::ref(forger), std::ref(points));
    Process& viewer = Subscribe(link, relay, "--pointer -o -", pointer.read.Get());
    std::string shown;
    for (const std::string picture : {"a picture of the screen", "another one", "and the last one"}) {
        shown += jpeg(picture);
        screen.Write(jpeg(picture));
        ASSERT_TRUE(Says(viewer, picture));
    }
    pointer.Write("640 480\n");
    EXPECT_TRUE(Says(publisher, "\"x\":640,\"y\":480"));
    screen.write.Reset();
    ExpectAllRefused(End(publisher), 3);
    EXPECT_EQ(publisher.Output().find("\"x\":13"), std::string::npos);
    EXPECT_TRUE(viewer.WaitForEnd(kDeadlineMs));
    EXPECT_EQ(viewer.Output(), shown);
    for (const char* picture : {"a picture of the screen", "another one", "and the last one"})
        ExpectUnseen(relay.Seen(), picture);
}

TEST_F(Sealed, EndsThatDoNotFitSaySoAndWriteNothing) {
    const CPipe screens[2];  // of the one who seals and of the other
    for (const CPipe& screen : screens) screen.Write(std::string("\xff\xd8\xff\xda\x00\x02", 6) + "x\xff\xd9");
    const char* const media[] = {"audio spoken --loop", "video film --loop", "desktop -"};
    CSealSecret another;
    another.Draw();
    char secret[kSealSecretLength + 1];
    another.GetText(secret);
    folder.Put("kept", "kept");
    std::vector<std::pair<Process*, const char*>> subscribers;
    for (uint32_t i = 0; i < 3; ++i) {
        const std::string link = LinkOf(Publish(media[i], 100 + i, screens[0].read.Get())),
                          open = link.substr(0, link.find('#')),
                          plain = LinkOf(Publish(std::string(media[i]) + " --plain", 200 + i, screens[1].read.Get()));
        EXPECT_EQ(plain.find('#'), std::string::npos);
        const std::pair<std::string, const char*> rows[] = {{open + "#" + secret, "wrong secret"},
                                                            {open, "the sender seals"},
                                                            {plain + "#" + secret, "the sender does not seal"}};
        for (const auto& [given, words] : rows) {
            const std::string out =
                i < 2 && words == rows[0].second ? "kept" : "new" + std::to_string(subscribers.size());
            const std::string line = std::string("subscribe ").append(given).append(" --json --path relay -o ");
            subscribers.emplace_back(&Lumo(line + out), words);
        }
    }
    for (const auto& [subscriber, words] : subscribers) {
        End(*subscriber, 4);
        EXPECT_NE(subscriber->Errors().find(words), std::string::npos) << subscriber->line << subscriber->Errors();
        EXPECT_EQ(subscriber->Errors().find(secret), std::string::npos);
    }
    EXPECT_EQ(folder.Get("kept"), "kept");
    EXPECT_EQ(folder.Names(), (std::set<std::string>{"film", "kept", "spoken"}));
}

TEST(SealedMessages, OfAFileAreTakenOnceInTheirOrderAndTellNothing) {
    CSealSecret secret;
    secret.Draw();
    const LumoSealStream stream{SEAL_FILE, SEAL_DOWN, kChannel};
    const std::string name = "a holiday.mkv", content = RandomBytes(50000);
    constexpr uint64_t kSize = 0x123456789a;
    const auto block = [&](uint32_t number) {
        return lumo::Encode({7, lumo::Block{number, number, 5, content.data(), static_cast<uint32_t>(content.size())}});
    };
    const std::vector<std::string> messages{lumo::Encode({7, lumo::Offer{0, 0, kSize, {}, name}}), block(1), block(2)};
    CForger forger(secret, stream, lumo::Encode({7, lumo::Offer{0, 0, 1, {}, "forged"}}));
    lumo::CStreamSealer sealer(secret, stream);
    lumo::CStreamOpener opener(secret, stream);
    std::vector<std::string> sealed, taken;
    const auto deliver = [&](std::string frame) {
        char* data = frame.data();
        size_t length = frame.size();
        if (opener.Open(data, length, 1)) taken.emplace_back(data, length);
    };
    for (const std::string& message : messages) {
        const char* data = message.data();
        auto length = static_cast<int>(message.size());
        ASSERT_TRUE(sealer.Seal(data, length));
        sealed.emplace_back(data, static_cast<size_t>(length));
    }
    for (const size_t next : {0U, 2U, 1U})
        for (const std::string& frame : forger(sealed[next])) deliver(frame);
    EXPECT_EQ(taken, (std::vector<std::string>{messages[0], messages[2]})) << "what was overtaken is lost";
    for (const std::string& frame : sealed)
        for (const std::string& told : {name, std::string("\x12\x34\x56\x78\x9a"), content.substr(100, 8)})
            EXPECT_EQ(frame.find(told), std::string::npos);
}

}  // namespace
}  // namespace e2e
