// What the receiver's engine does with whole files, and whether there is room for them.
#include "tools/lumo/transfer/receive_engine.h"

#include <algorithm>

namespace lumo {

uint64_t IncomingFile::HeldBytes() const {
    return store ? std::min(offer.size, uint64_t{store->Have().Held()} * kBlockSize) : keptBytes;
}

void CReceiveEngine::OpenStore(IncomingFile& file, bool stays) {
    using Phase = IncomingFile::Phase;
    bool waits = false;
    switch (m_folder.Open(file.offer, file.store, file.problem, file.failure)) {
        case OpenResult::Fetch:
            file.phase = Phase::Fetching;
            break;
        case OpenResult::AlreadyThere:
            file.phase = Phase::Checking;
            file.wasThere = true;
            break;
        case OpenResult::Later:
            waits = true;
            break;
        case OpenResult::Refused:
            file.phase = Phase::Failed;
            NoteEnded(file);
            break;
    }
    if (file.Ended() || file.IsLate()) return;
    if (stays && !waits) {
        ++m_nOpen;
        return;
    }
    file.keptBytes = file.HeldBytes();
    file.phase = Phase::Announced;
    file.store.reset();
    ++m_nAnnounced;
    m_ullKeptBytes += file.keptBytes;
}

void CReceiveEngine::OpenAnnounced() {
    for (; m_nOpen < kMaxOpenFiles && m_nNextOpen < m_files.size(); ++m_nNextOpen) {
        IncomingFile& file = m_files[m_nNextOpen];
        if (file.phase != IncomingFile::Phase::Announced) continue;
        --m_nAnnounced;
        m_ullKeptBytes -= file.keptBytes;
        OpenStore(file, true);
        if (file.phase == IncomingFile::Phase::Announced) return;
        m_bReportDue = true;
    }
}

void CReceiveEngine::EndFile(IncomingFile& file, Failure failure, const std::string& problem) {
    file.phase = failure == Failure::None ? IncomingFile::Phase::Done : IncomingFile::Phase::Failed;
    file.failure = failure;
    file.problem = problem;
    if (!file.IsLate()) --m_nOpen;
    if (!m_deliver && file.offer.traits.kind != EntryKind::Text) file.store.reset();
    NoteEnded(file);
    m_bReportDue = true;
}

void CReceiveEngine::PassEnded() {
    for (; m_nFirst < m_files.size(); ++m_nFirst) {
        const IncomingFile& file = m_files[m_nFirst];
        if (!file.Ended() && !file.IsLate()) return;
        if (file.phase == IncomingFile::Phase::Done) m_ullPassedBytes += file.offer.size;
    }
}

void CReceiveEngine::NoteEnded(const IncomingFile& file) {
    m_ended.push_back(static_cast<size_t>(&file - m_files.data()));
    m_nFailedFiles += file.phase == IncomingFile::Phase::Failed;
}

std::vector<size_t> CReceiveEngine::FilesInFlight(size_t most) const {
    std::vector<size_t> found;
    for (size_t i = m_nFirst; i < m_files.size() && found.size() < most; ++i) {
        const IncomingFile& file = m_files[i];
        if (file.phase == IncomingFile::Phase::Announced) break;
        if (!file.IsLate() && !file.Ended() && file.HeldBytes() > 0) found.push_back(i);
    }
    return found;
}

bool CReceiveEngine::LateStep() {
    constexpr int kAtOnce = 64;
    if (m_nFirst < m_files.size() || !AllOffered() || m_lates.empty() || Ended()) return false;
    for (int i = 0; i < kAtOnce && !m_lates.empty(); ++i) {
        OnVerified(m_files[m_lates.back()], StoreStep::Good);
        m_lates.pop_back();
    }
    return true;
}

void CReceiveEngine::CheckRoom() {
    if (m_bFits || Ended() || !AllOffered()) return;
    uint64_t lacking = 0;
    for (const IncomingFile& file : m_files) {
        const bool comes = file.phase == IncomingFile::Phase::Fetching || file.phase == IncomingFile::Phase::Announced;
        if (comes) lacking += file.offer.size - file.HeldBytes();
    }
    const uint64_t free = m_folder.FreeBytes();
    m_bFits = lacking <= free;
    if (m_bFits) return;
    FailTransfer(Failure::NoSpace, "there is no room: " + std::to_string(lacking) + " bytes are to come and " +
                                       std::to_string(free) + " are free");
}

bool CReceiveEngine::VerifyStep() {
    PassEnded();
    OpenAnnounced();
    using Phase = IncomingFile::Phase;
    for (size_t i = m_nFirst; i < m_files.size(); ++i) {
        IncomingFile& file = m_files[i];
        if (file.phase == Phase::Announced) break;
        if (file.IsLate()) continue;
        if (file.phase == Phase::Fetching && file.store->Have().Full()) file.phase = Phase::Verifying;
        if (file.phase == Phase::Repairing)
            OnRepaired(file, file.store->Repair());
        else if (file.phase == Phase::Verifying || file.phase == Phase::Checking)
            OnVerified(file, file.store->Verify());
        else
            continue;
        return true;
    }
    return LateStep();
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
    PassEnded();
    if (m_nFirst < m_files.size() || !m_lates.empty()) {
        const auto comes = [](const IncomingFile& file) {
            using Phase = IncomingFile::Phase;
            return !file.IsLate() && (file.phase == Phase::Fetching || file.phase == Phase::Announced);
        };
        const auto first = m_files.begin() + static_cast<std::ptrdiff_t>(m_nFirst);
        m_state = std::any_of(first, m_files.end(), comes) ? ReceiveState::Receiving : ReceiveState::Verifying;
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
