// Video at the server: the codes of its sources, and the library's classes.
#pragma once

#include "server/medium_server.h"

std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context);
