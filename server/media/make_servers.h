// The server of each medium, with the library's adapter.
#pragma once

#include "server/media/medium_server.h"

std::unique_ptr<CMediumServer> MakeAudioServer(CServerContext& context);
std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context);
std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context);
std::unique_ptr<CMediumServer> MakeDesktopServer(CServerContext& context);
std::unique_ptr<CMediumServer> MakeWhiteboardServer(CServerContext& context);
