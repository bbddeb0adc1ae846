// A whiteboard's page without a browser: draws by the same requests, and reads what the board holds.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace httplib {
class Client;
}

namespace lumo {

/// One thread. Every call waits for its answer, some seconds at most.
class CBoardPage {
public:
    /// `url` as `lumo whiteboard` says it; of the form http://HOST:PORT/ or http://HOST:PORT/TOKEN/.
    explicit CBoardPage(const std::string& url);
    ~CBoardPage();
    CBoardPage(const CBoardPage&) = delete;
    CBoardPage& operator=(const CBoardPage&) = delete;

    /// Gives the numbers of the objects that the first action has made. False when the board did not take them.
    bool Do(const nlohmann::json& actions, std::vector<uint32_t>& made);
    /// What GET /board answers; null when it does not.
    nlohmann::json Board();

private:
    const std::string m_strOrigin;
    const std::string m_strPath;  // that everything lies beside; ends with a slash
    std::unique_ptr<httplib::Client> m_pClient;
};

}  // namespace lumo
