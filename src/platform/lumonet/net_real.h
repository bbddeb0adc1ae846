// The real network behind the public factories, and what its two halves share.
#pragma once

#include "platform/lumonet/lumonet.h"

/// Null on failure, as the public factories.
IUdpClient* MakeUdpClient(IUdpClientNotify* notify, const UdpOptions& options);
ITcpServer* MakeTcpServer(ITcpServerNotify* notify, const TcpServerOptions& options);
ITcpClient* MakeTcpClient(ITcpClientNotify* notify, const std::string& server, unsigned short port, int proxyType,
                          const std::string& proxyHost, unsigned short proxyPort, const std::string& proxyUser,
                          const std::string& proxyPassword);

/// The TCP socket, bound and not yet listening, that was kept for this address and port when a UDP endpoint picked the
/// port by itself; the caller's from then on. -1 when there is none. Any thread.
int TakeReservedTcpSocket(uint32_t localIP, uint16_t port);
