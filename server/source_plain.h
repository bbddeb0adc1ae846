// A publisher over UDP whose frames each travel in a datagram, and to whom nothing goes upstream.
#pragma once

#include "server/source_udp.h"

class CSourcePlain : public CSourceUDP {
public:
    using CSourceUDP::CSourceUDP;

    void OnFrame(const char* data, int length) override;
    bool SendUpstream(const void*, int) override { return false; }
    void End() override {}
};
