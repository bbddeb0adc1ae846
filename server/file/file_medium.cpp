#include "server/file/file_medium.h"

#include "server/file/file_leg.h"
#include "server/file/file_stream.h"
#include "server/share_classes.h"
#include "server/share_profile.h"

std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context) {
    static constexpr CSourceProfile kProfile = ShareSourceProfile(wire::kFileCodes, "file");
    auto classes = std::make_unique<CShareClasses<CFileStream, CFileLeg>>(*GetLocalMCUFile(), context.options.limits);
    return std::make_unique<CMediumServer>(kProfile, std::move(classes), context);
}
