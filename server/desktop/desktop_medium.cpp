#include "server/desktop/desktop_medium.h"

#include "server/desktop/desktop_leg.h"
#include "server/desktop/desktop_stream.h"
#include "server/share_classes.h"

std::unique_ptr<CMediumServer> MakeDesktopServer(CServerContext& context) {
    using CClasses = CShareClasses<CDesktopStream, CDesktopLeg>;
    return std::make_unique<CMediumServer>(
        media::kDesktop, std::make_unique<CClasses>(*GetLocalMCUDesktop(), context.options.limits), context);
}
