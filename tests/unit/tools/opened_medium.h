// A medium of `lumo publish` as the command opens it, but without a server.
#pragma once

#include "tools/lumo/media/publish_medium.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

template <class Medium>
class COpenedMedium {
public:
    /// `words` are what the command line says after the medium.
    explicit COpenedMedium(const std::vector<std::string>& words) {
        lumo::CCommandLine line;
        lumo::CCommand command = line.Root();
        medium.AddOptions(command);
        EXPECT_TRUE(line.Run(words));
        std::string problem;
        EXPECT_TRUE(medium.Prepare(problem)) << problem;
        lumo::RelayRoute route;
        route.channel = 77;
        m_link = medium.Open(route, m_inbox);
    }
    ~COpenedMedium() {
        m_link.reset();
        medium.Close();
    }
    COpenedMedium(const COpenedMedium&) = delete;
    COpenedMedium& operator=(const COpenedMedium&) = delete;

    Medium medium;

private:
    lumo::CWake m_wake;
    lumo::CInbox m_inbox{m_wake, 0, 0};
    std::unique_ptr<lumo::CLink> m_link;
};
