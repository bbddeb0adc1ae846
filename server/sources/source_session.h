// A publisher over UDP whose frames travel in the reliable session, both ways.
#pragma once

#include "link/udp/frame_link.h"
#include "server/sources/source_udp.h"

class CSourceSession : public CSourceUDP, private ILinkOwner {
public:
    CSourceSession(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim,
                   const CServerLimits& limits);

    bool Open() override { return m_frames.OpenLink(m_address.ip); }
    bool IsGone() override { return m_frames.HasGivenWay() || CSourceUDP::IsGone(); }
    void OnFrame(const char* data, int length) override { m_frames.OnPacket(data, length); }
    bool PumpFrames() override { return m_frames.Pump(); }
    bool SendUpstream(const void* data, int length) override;
    void RequestKeyFrame() override;
    void End() override { m_frames.CloseLink(); }
    CSourceStatus Status() override;

private:
    void OnSCTPSessionReceivedFrame(char* frame, int length) override;
    void SendSCTPData(char* packet, int length) override;
    void DescribeLink(LumoLinkStatistics& statistics) const override;

    /// A publisher that reads slowly keeps its place: only what its subscribers send it is lost.
    CFrameLink m_frames{*this, WhenOutOfMemory::LosesQueue};
};
