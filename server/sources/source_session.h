// A publisher over UDP whose frames travel in the reliable session, both ways.
#pragma once

#include "link/udp/frame_link.h"
#include "server/sources/source_udp.h"

class CSourceSession : public CSourceUDP, public CFrameLink {
public:
    CSourceSession(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim,
                   const CServerLimits& limits);

    bool Open() override { return OpenLink(m_address.ip); }
    bool IsGone() override { return HasGivenWay() || CSourceUDP::IsGone(); }
    void OnFrame(const char* data, int length) override { OnPacket(data, length); }
    bool PumpFrames() override { return Pump(); }
    bool SendUpstream(const void* data, int length) override;
    void RequestKeyFrame() override;
    void End() override { CloseLink(); }
    CSourceStatus Status() override;

    void OnSCTPSessionReceivedFrame(char* frame, int length) override;
    void SendSCTPData(char* packet, int length) override;

protected:
    /// A publisher that reads slowly keeps its place: only what its subscribers send it is lost.
    bool EndsToGiveWay() const override { return false; }
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    const CServerLimits& m_limits;
};
