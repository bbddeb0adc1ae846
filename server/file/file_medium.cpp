#include "server/file/file_medium.h"

#include "server/file/file_leg.h"
#include "server/file/file_stream.h"
#include "server/share_classes.h"

std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context) {
    auto classes = std::make_unique<CShareClasses<CFileStream, CFileLeg>>(*GetLocalMCUFile(), context.options.limits);
    return std::make_unique<CMediumServer>(media::kFile, std::move(classes), context);
}
