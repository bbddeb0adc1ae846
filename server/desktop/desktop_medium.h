// Desktops at the server: the codes of their sources, and the library's classes.
#pragma once

#include "server/medium_server.h"

std::unique_ptr<CMediumServer> MakeDesktopServer(CServerContext& context);
