// `lumo publish` of a medium whose stream is a file or standard input, sent at its own pace.
#pragma once

#include "tools/lumo/media/fetch_state.h"
#include "tools/lumo/media/frame_out.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/media/stream_files.h"

#include <array>
#include <string>

namespace lumo {

/// `Publisher` has Feed, Finish, Rewind, Fetch, DueMs, GoOnAt, Bytes and Problem, and knows no clock.
template <class Publisher>
class CFilePublishMedium : public IPublishMedium {
public:
    bool Prepare(std::string& problem) override {
        if (m_input.Open(m_strFile, problem) && m_bLoop && !m_input.IsFile())
            problem = m_strFile + ": --loop needs a file, which can be read again";
        return problem.empty();
    }
    uint64_t Turn(uint64_t now) override;
    int WaitFd() const override { return m_bHungry ? m_input.Fd() : -1; }
    bool Over() const override { return m_bOver || m_out.Failed(); }
    uint64_t Bytes() const override { return m_publisher.Bytes(); }
    std::string Problem() const override {
        if (m_out.Failed()) return m_out.Problem();
        return m_input.Problem().empty() ? m_publisher.Problem() : m_input.Problem();
    }

protected:
    template <class Out>
    explicit CFilePublishMedium(Out out) : m_publisher(out) {}

    void AddFileTo(CCommand& command, const std::string& help) {
        command.Add("FILE", m_strFile, help + "; - is standard input").Required();
        command.AddFlag("--loop", m_bLoop, "Begin again at the end, until interrupted");
    }
    /// Sends the frame that is ready.
    virtual void SendReady(uint64_t now) = 0;
    Publisher& Source() { return m_publisher; }
    const Publisher& Source() const { return m_publisher; }
    CStreamInput& Input() { return m_input; }
    CFrameOut& Out() { return m_out; }
    bool Loops() const { return m_bLoop; }
    const std::string& File() const { return m_strFile; }

private:
    static constexpr uint64_t kIdleMs = 50;
    static constexpr int kStepsPerTurn = 64;  // others want to be looked after too, however fast the input is

    /// False when nothing has come.
    bool Feed() {
        const ssize_t got = m_input.Read(m_piece.data(), m_piece.size());
        if (got > 0) m_publisher.Feed(m_piece.data(), static_cast<size_t>(got));
        if (got == 0) m_publisher.Finish();
        m_bOver = m_bOver || !m_input.Problem().empty();
        return got >= 0;
    }
    bool GoOnAt(uint64_t offset) {
        m_bOver = !m_input.Seek(offset);
        return !m_bOver;
    }

    std::string m_strFile;
    bool m_bLoop = false;
    CStreamInput m_input;
    std::array<char, 16384> m_piece{};
    Publisher m_publisher;
    CFrameOut m_out;
    bool m_bHungry = false;  // waits for bytes
    bool m_bOver = false;
};

template <class Publisher>
uint64_t CFilePublishMedium<Publisher>::Turn(uint64_t now) {
    m_bHungry = false;
    for (int step = 0; step < kStepsPerTurn && !m_bOver; ++step) {
        switch (m_publisher.Fetch(now)) {
            case FetchState::Ready:
                if (now < m_publisher.DueMs()) return m_publisher.DueMs() - now;
                SendReady(now);
                break;
            case FetchState::NeedMore:
                m_bHungry = !Feed();
                if (m_bHungry) return kIdleMs;
                break;
            case FetchState::GoOn:
                GoOnAt(m_publisher.GoOnAt());
                break;
            case FetchState::End:
                m_bOver = !m_bLoop;
                if (m_bLoop && GoOnAt(0)) m_publisher.Rewind();
                break;
            case FetchState::Failed:
                m_bOver = true;
                break;
        }
    }
    return 0;
}

}  // namespace lumo
