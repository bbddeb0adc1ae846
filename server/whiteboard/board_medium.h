// Whiteboards at the server: the library's classes, without publishers.
#pragma once

#include "server/medium_server.h"

std::unique_ptr<CMediumServer> MakeWhiteboardServer(CServerContext& context);
