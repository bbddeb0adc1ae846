// What the receiver's engine does with whole files, and whether there is room for them.
#include "tools/lumo/transfer/receive_engine.h"

#include <algorithm>

namespace lumo {

uint64_t IncomingFile::HeldBytes() const { return std::min(offer.size, uint64_t{store->Have().Held()} * kBlockSize); }

void CReceiveEngine::CheckRoom() {
    if (m_bFits || Ended() || !AllOffered()) return;
    uint64_t lacking = 0;
    for (const IncomingFile& file : m_files) {
        if (file.phase == IncomingFile::Phase::Fetching) lacking += file.offer.size - file.HeldBytes();
    }
    const uint64_t free = m_folder.FreeBytes();
    m_bFits = lacking <= free;
    if (m_bFits) return;
    FailTransfer(Failure::NoSpace, "there is no room: " + std::to_string(lacking) + " bytes are to come and " +
                                       std::to_string(free) + " are free");
}

bool CReceiveEngine::VerifyStep() {
    for (IncomingFile& file : m_files) {
        using Phase = IncomingFile::Phase;
        if (file.phase == Phase::Fetching && file.store->Have().Full()) file.phase = Phase::Verifying;
        if (file.phase == Phase::Repairing)
            OnRepaired(file, file.store->Repair());
        else if (file.phase == Phase::Verifying || file.phase == Phase::Checking)
            OnVerified(file, file.store->Verify());
        else
            continue;
        return true;
    }
    return false;
}

void CReceiveEngine::OnVerified(IncomingFile& file, StoreStep step) {
    using Phase = IncomingFile::Phase;
    if (step == StoreStep::More) return;
    const bool good = step == StoreStep::Good && (file.phase == Phase::Checking || file.store->Commit());
    if (good) {
        EndFile(file, Failure::None, "");
    } else if (step == StoreStep::Bad && ++file.repairs > kMaxRepairs) {
        EndFile(file, Failure::Damaged, "what the sender sends does not match its SHA-256");
    } else if (step == StoreStep::Bad) {
        file.phase = Phase::Repairing;
    } else {
        EndFile(file, file.store->Reason(), file.store->Problem());
    }
}

void CReceiveEngine::OnRepaired(IncomingFile& file, StoreStep step) {
    if (step == StoreStep::Broken) EndFile(file, file.store->Reason(), file.store->Problem());
    if (step != StoreStep::Good) return;
    file.phase = IncomingFile::Phase::Fetching;
    m_bReportDue = true;
}

bool CReceiveEngine::DeliverStep() {
    if (m_state != ReceiveState::Delivering) return false;
    std::string problem;
    const StoreStep step = m_deliver(m_files, problem);
    if (step == StoreStep::More) return true;
    if (step == StoreStep::Good)
        m_state = ReceiveState::Done;
    else
        FailTransfer(Failure::Disk, problem);
    m_bReportDue = true;
    return false;
}

void CReceiveEngine::CheckEnd() {
    if (HasAll() || !AllOffered()) return;
    const auto ended = [](const IncomingFile& file) { return file.Ended(); };
    if (!std::all_of(m_files.begin(), m_files.end(), ended)) {
        const auto fetching = [](const IncomingFile& file) { return file.phase == IncomingFile::Phase::Fetching; };
        m_state =
            std::any_of(m_files.begin(), m_files.end(), fetching) ? ReceiveState::Receiving : ReceiveState::Verifying;
        return;
    }
    m_state = m_deliver ? ReceiveState::Delivering : ReceiveState::Done;
    for (const IncomingFile& file : m_files) {
        if (file.phase != IncomingFile::Phase::Failed) continue;
        m_state = ReceiveState::Failed;
        m_failure = file.failure;
    }
    m_bReportDue = true;
}

}  // namespace lumo
