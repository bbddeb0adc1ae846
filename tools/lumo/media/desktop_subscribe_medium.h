// `lumo subscribe desktop`: takes a channel's pictures, writes them, and tells the publisher.
#pragma once

#include "tools/lumo/media/desktop_links.h"
#include "tools/lumo/media/desktop_viewer.h"
#include "tools/lumo/media/output_subscribe_medium.h"
#include "tools/lumo/media/picture_sink.h"
#include "tools/lumo/media/pointer_input.h"
#include "tools/lumo/media/stream_files.h"
#include "tools/lumo/seal/stream_seal.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

class CDesktopSubscribeMedium final : public COutputSubscribeMedium {
public:
    CDesktopSubscribeMedium();

    void AddOptions(CCommand& command) override;
    std::vector<std::string> Paths() const override { return {"auto", "p2p", "p2p-tcp", "relay"}; }

    bool Prepare(std::string& problem) override;
    bool OnFrame(const char* data, size_t length) override;
    void Tick() override;
    void OnPathChanged() override { m_viewer.OnNewPath(); }
    bool Over() const override { return m_viewer.Ended() || !Problem().empty(); }
    void Finish() override { SayToAll(m_viewer.Leave()); }

    bool Heard() const override { return m_viewer.Report().pictures > 0; }
    uint64_t Bytes() const override { return m_viewer.Report().bytes; }
    nlohmann::json Details() const override;
    std::string Quality() const override;
    std::string Summary(double seconds) const override;
    std::string Problem() const override {
        return m_sink && !m_sink->Problem().empty() ? m_sink->Problem() : m_input.Problem();
    }

private:
    /// A link of the path switch and what was said on it.
    struct Way {
        IDesktopUpstream* upstream;
        int taken = 0;  // how often the link had been made when it was taken last
    };

    std::unique_ptr<CLink> MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                    const LinkTimes& times) override;
    template <class Library>
    std::unique_ptr<CLink> MakeWay(bool peer, const RelayRoute& route, CInbox& inbox, const LinkTimes& times);
    void ReadPointer();
    void SayToAll(const std::string& report);

    bool m_bPointer = false;
    CStreamInput m_input;
    CPointerInput m_pointer;
    std::unique_ptr<CPictureSink> m_sink;  // null: nothing is written
    CDesktopViewer m_viewer;
    std::vector<Way> m_ways;
    std::optional<CStreamSealer> m_sealer;  // of what it says, on whatever way
    Picture m_picture;
};

}  // namespace lumo
