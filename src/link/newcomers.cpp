#include "link/newcomers.h"

#include "link/frame_link.h"
#include "link/instances.h"

namespace {

// What a stranger sends up in one frame, where the medium does not say less. Of peers whom the signalling has
// introduced frames of any length are taken.
constexpr int kMaxStrangersFrame = 4 * 1024 * 1024;

}  // namespace

void CNewcomers::Add(CMcuSink& sink, const CSinkInfo& info, bool introduced) {
    (introduced ? m_introduced : m_strangers).Add(info.sinkID, info.ip, info.channel);
    sink.SetNewcomers(this);
    if (!info.link) return;
    if (!introduced && info.kind != wire::Kind::Video) info.link->SetMaxReceivedFrame(kMaxStrangersFrame);
    info.link->SetQueueLimit(limits::kUnprovedQueueBytes);
    info.link->HoldNewcomer(introduced ? Instances().introduced : Instances().strangers);
}

void CNewcomers::Begin(CMcuSink& sink) {
    if (CFrameLink* link = sink.GetFrameLink()) link->LetFirstLeave();
}

void CNewcomers::OnShown(CMcuSink& sink, uint32_t sinkID, uint64_t queueBytes) {
    Remove(sinkID);
    sink.SetNewcomers(nullptr);
    CFrameLink* link = sink.GetFrameLink();
    if (!link) return;
    link->SetQueueLimit(queueBytes);
    if (sink.Info().kind != wire::Kind::Video) link->SetMaxReceivedFrame(limits::kMaxFrameLen);
    if (link->SetHeld(false)) sink.OnGap();
}

void CNewcomers::Remove(uint32_t sinkID) {
    if (m_strangers.Remove(sinkID) == 0) m_introduced.Remove(sinkID);
}
