// `lumo publish desktop`: pictures of a screen, paced by those who look at it.
#pragma once

#include "tools/lumo/media/desktop_links.h"
#include "tools/lumo/media/desktop_publisher.h"
#include "tools/lumo/media/frame_out.h"
#include "tools/lumo/media/picture_source.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/media/stream_files.h"
#include "tools/lumo/net/wait_set.h"

#include <nlohmann/json.hpp>

#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace lumo {

class CDesktopPublishMedium final : public IPublishMedium {
public:
    CDesktopPublishMedium();

    const char* Name() const override { return "desktop"; }
    const char* Help() const override { return "Pictures of a screen, at the pace of its viewers"; }
    void AddOptions(CCommand& command) override;

    bool Prepare(std::string& problem) override;
    std::unique_ptr<CLink> Open(const RelayRoute& route, CInbox& inbox) override;
    uint64_t Turn(uint64_t now) override;
    int WaitFd() const override { return m_waits.Fd(); }
    bool Over() const override { return m_bOver || m_out.Failed(); }
    void SayGoodbye() override;
    void Close() override;

    uint64_t Bytes() const override;
    nlohmann::json NextEvent(std::string& words) override;
    nlohmann::json Details() override;
    std::string Audience() override;
    std::string Summary() override;
    std::string Problem() const override {
        if (m_out.Failed()) return m_out.Problem();
        return m_source && m_input.Problem().empty() ? m_source->Problem() : m_input.Problem();
    }

private:
    static constexpr uint64_t kUntakenMs = 2000;  // without a server it begins all the same
    static constexpr uint64_t kLastMs = 5000;     // for the last picture to be shown, and again for the goodbye
    static constexpr int kPicturesPerTurn = 16;
    static constexpr int kReportsPerTurn = 100;
    static constexpr size_t kMaxEvents = 1000;

    void Send(const std::string& frame);
    void NotePointer(const ViewerPointer& pointer);
    /// Some of what they say: no flood of it, whoever makes it up, holds pictures back. True when more waits.
    bool HearViewers(uint64_t now);
    bool IsReady(uint64_t now);
    /// Viewers that have not left, or frames on their way to them.
    bool AnybodyListens(uint64_t now);
    /// How long there will be no picture.
    uint64_t TakePictures(uint64_t now);

    std::string m_strFrom;
    std::optional<double> m_fps;
    size_t m_nViewers = 0;  // that must be there at the beginning
    bool m_bLoop = false;
    CStreamInput m_input;
    std::unique_ptr<IPictureSource> m_source;
    CWake m_wake;
    CInbox m_upstream;
    CWaitSet m_waits;
    CDesktopPublisher m_publisher;
    CFrameOut m_out;
    std::optional<CStreamOpener> m_opener;  // of what viewers say
    DesktopChannelPtr m_channel, m_direct;  // for the relay and for peers
    CLink* m_pLink = nullptr;
    int m_nTaken = 0;  // how often the link had been made when it was taken last
    std::deque<nlohmann::json> m_events;
    bool m_bBegun = false;
    std::optional<uint64_t> m_startMs;
    std::optional<uint64_t> m_endMs;  // when the source ended
    bool m_bOver = false;
};

}  // namespace lumo
