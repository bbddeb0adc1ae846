// What the media of `lumo subscribe` have alike: a name, an output to write, and two kinds of links.
#pragma once

#include "tools/lumo/media/subscribe_medium.h"

#include <cstddef>
#include <memory>
#include <string>

namespace lumo {

struct SubscribeProfile {
    const char* name;
    const char* help;
    const char* out;  ///< --out, and what it takes
    const char* outHelp;
    const char* player;  ///< what takes it from standard output
    SealMedium seals;
    size_t maxFrame;
    size_t inboxBytes;
};

class COutputSubscribeMedium : public ISubscribeMedium {
public:
    const char* Name() const override { return m_profile.name; }
    const char* Help() const override { return m_profile.help; }
    void AddOptions(CCommand& command) override {
        const std::string line = std::string("lumo subscribe lumo://relay.example/") + m_profile.name +
                                 "/3735928559#mK3v0b2ZrR1yqTfX9sLw4A -o - | ";
        command.Add(m_profile.out, m_strOut, m_profile.outHelp);
        command.Example(line + m_profile.player, "What the publisher has shown, and what plays it");
    }
    PathRules Rules() const override {
        PathRules rules;
        rules.maxFrame = static_cast<int>(m_profile.maxFrame);
        rules.inboxBytes = m_profile.inboxBytes;
        rules.times.silence = rules.times.unaccepted = kSilentMs;
        return rules;
    }
    SealMedium Seals() const override { return m_profile.seals; }
    bool UsesStdout() const override { return m_strOut == "-"; }

    std::unique_ptr<CLink> MakeRelayLink(const RelayRoute& route, CInbox& inbox, const LinkTimes& times) override {
        return MakeLink(false, route.tcp, route, inbox, times);
    }
    std::unique_ptr<CLink> MakeDirectLink(const RelayRoute& route, bool tcp, CInbox& inbox,
                                          const LinkTimes& times) override {
        return MakeLink(true, tcp, route, inbox, times);
    }

protected:
    explicit COutputSubscribeMedium(const SubscribeProfile& profile) : m_profile(profile) {}

    /// `peer`: at the publisher's own host.
    virtual std::unique_ptr<CLink> MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                            const LinkTimes& times) = 0;

    std::string m_strOut;  // empty: nothing is written

private:
    // The heads of audio come every 2 s, whatever the sound is doing, and the publisher of a desktop says every second
    // that it is there; a live video input may rest for a while.
    static constexpr uint64_t kSilentMs = 6000;

    const SubscribeProfile m_profile;
};

}  // namespace lumo
