#include "tools/lumo/demo/board_page.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace lumo {
namespace {

constexpr int kAnswerSeconds = 5;

size_t OriginLength(const std::string& url) { return std::min(url.size(), url.find('/', std::strlen("http://"))); }

}  // namespace

CBoardPage::CBoardPage(const std::string& url)
    : m_strOrigin(url.substr(0, OriginLength(url))),
      m_strPath(url.substr(OriginLength(url))),
      m_pClient(std::make_unique<httplib::Client>(m_strOrigin)) {
    m_pClient->set_keep_alive(true);
    m_pClient->set_tcp_nodelay(true);
    m_pClient->set_connection_timeout(kAnswerSeconds);
    m_pClient->set_read_timeout(kAnswerSeconds);
}

CBoardPage::~CBoardPage() = default;

bool CBoardPage::Do(const nlohmann::json& actions, std::vector<uint32_t>& made) {
    const auto answer =
        m_pClient->Post(m_strPath + "do", {{"Origin", m_strOrigin}}, actions.dump(), "application/json");
    if (!answer || answer->status != 200) return false;
    const nlohmann::json ids = nlohmann::json::parse(answer->body, nullptr, false);
    if (!ids.is_array() || ids.empty() || !ids[0].is_array()) return false;
    made = ids[0].get<std::vector<uint32_t>>();
    return true;
}

nlohmann::json CBoardPage::Board() {
    const auto answer = m_pClient->Get(m_strPath + "board");
    nlohmann::json board = answer ? nlohmann::json::parse(answer->body, nullptr, false) : nlohmann::json();
    return board.is_object() ? board : nlohmann::json();
}

}  // namespace lumo
