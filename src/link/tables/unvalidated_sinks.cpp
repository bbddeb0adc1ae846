#include "link/tables/unvalidated_sinks.h"

#include "link/process/instances.h"
#include "link/udp/frame_link.h"

namespace {

// What a stranger sends up in one frame, where the medium does not say less. Of peers whom the signalling has
// introduced frames of any length are taken.
constexpr int kMaxStrangersFrame = 4 * 1024 * 1024;

}  // namespace

void CUnvalidatedSinks::Add(CMcuSink& sink, const CSinkInfo& info, bool introduced) {
    (introduced ? m_introduced : m_strangers).Add(info.sinkID, info.ip, info.channel);
    sink.SetUnvalidatedSinks(this);
    if (!info.link) return;
    if (!introduced && info.kind != wire::Kind::Video) info.link->Session().SetMaxReceivedFrame(kMaxStrangersFrame);
    info.link->SetQueueLimit(limits::kUnvalidatedQueueBytes);
    info.link->HoldUntilValidated(introduced ? Instances().introduced : Instances().strangers);
}

void CUnvalidatedSinks::Begin(CMcuSink& sink) {
    if (CFrameLink* link = sink.GetFrameLink()) link->LetFirstLeave();
}

void CUnvalidatedSinks::OnValidated(CMcuSink& sink, uint32_t sinkID, uint64_t queueBytes) {
    Remove(sinkID);
    sink.SetUnvalidatedSinks(nullptr);
    CFrameLink* link = sink.GetFrameLink();
    if (!link) return;
    link->SetQueueLimit(queueBytes);
    if (sink.Info().kind != wire::Kind::Video) link->Session().SetMaxReceivedFrame(limits::kMaxFrameLen);
    if (link->SetHeld(false)) sink.OnGap();
}

void CUnvalidatedSinks::Remove(uint32_t sinkID) {
    if (m_strangers.Remove(sinkID) == 0) m_introduced.Remove(sinkID);
}
