#include "platform/lumonet/dial_thread.h"

#include <system_error>

namespace {

long InfoOf(CURL* easy, CURLINFO info) {
    long value = 0;
    return curl_easy_getinfo(easy, info, &value) == CURLE_OK ? value : 0;
}

// Proxies that cannot reach a server say any of these.
ProxyFault FaultOfStatus(long status) {
    if (status == 407 || status == 401) return ProxyFault::WantsPassword;  // some take the code of servers
    return status >= 500 ? ProxyFault::CannotReach : ProxyFault::Forbids;
}

CProxyFailure FailureOfSocks(long error) {
    switch (error) {
        case CURLPX_NO_AUTH:
        case CURLPX_USER_REJECTED:
        case CURLPX_IDENTD:
        case CURLPX_IDENTD_DIFFER:
            return {ProxyFault::WantsPassword, "it refuses the user"};
        case CURLPX_REPLY_NOT_ALLOWED:
            return {ProxyFault::Forbids, "its rules refuse it"};
        case CURLPX_REPLY_CONNECTION_REFUSED:
            return {ProxyFault::CannotReach, "the connection was refused"};
        case CURLPX_REPLY_HOST_UNREACHABLE:
        case CURLPX_REPLY_NETWORK_UNREACHABLE:
        case CURLPX_REPLY_TTL_EXPIRED:
            return {ProxyFault::CannotReach, "there is no way to the host"};
        case CURLPX_REPLY_GENERAL_SERVER_FAILURE:
            return {ProxyFault::CannotReach, "it does not say why"};
        case CURLPX_REQUEST_FAILED:
            return {ProxyFault::CannotReach, "it refuses or has failed: SOCKS4 tells no more"};
        default:
            return {ProxyFault::Other, "its answer makes no sense"};
    }
}

}  // namespace

CProxyFailure ProxyFailureOf(CURL* easy, CURLcode result) {
    if (result == CURLE_COULDNT_RESOLVE_PROXY) return {ProxyFault::UnknownName, curl_easy_strerror(result)};
    if (result == CURLE_PROXY) return FailureOfSocks(InfoOf(easy, CURLINFO_PROXY_ERROR));
    if (const long status = InfoOf(easy, CURLINFO_HTTP_CONNECTCODE); status >= 300)
        return {FaultOfStatus(status), "HTTP status " + std::to_string(status)};
    const auto error = static_cast<int>(InfoOf(easy, CURLINFO_OS_ERRNO));
    if (result == CURLE_COULDNT_CONNECT && error != 0)
        return {ProxyFault::NotThere, std::generic_category().message(error)};
    return {ProxyFault::Other, curl_easy_strerror(result)};
}
