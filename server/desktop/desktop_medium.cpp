#include "server/desktop/desktop_medium.h"

#include "server/desktop/desktop_leg.h"
#include "server/desktop/desktop_stream.h"
#include "server/share_classes.h"
#include "server/share_profile.h"

namespace {

constexpr CSourceProfile Profile() {
    CSourceProfile profile = ShareSourceProfile(wire::kDesktopCodes, "desktop");
    profile.subscribersAskOnce = true;
    return profile;
}

}  // namespace

std::unique_ptr<CMediumServer> MakeDesktopServer(CServerContext& context) {
    static constexpr CSourceProfile kProfile = Profile();
    using CClasses = CShareClasses<CDesktopStream, CDesktopLeg>;
    return std::make_unique<CMediumServer>(
        kProfile, std::make_unique<CClasses>(*GetLocalMCUDesktop(), context.options.limits), context);
}
