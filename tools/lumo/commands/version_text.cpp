#include "tools/lumo/commands/version_text.h"

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <opus/opus.h>
#include <pcap/pcap.h>
#include <png.h>
#include <qrencode.h>

#include <string_view>

namespace lumo {

std::string VersionText(const BuildVersion& build) {
    const std::string commit = *build.commit == '\0' ? "unknown" : std::string(build.commit) + " of " + build.date;
    const std::string_view pcap = pcap_lib_version();
    return std::string("lumo ") + build.version + " (commit " + commit + ")\nfeatures: wide sessions, direct paths" +
           ", relay server, signalling service, whiteboards, sealed frames (OpenSSL " +
           OpenSSL_version(OPENSSL_VERSION_STRING) + "), proxies http, socks4 and socks5 (libcurl " +
           curl_version_info(CURLVERSION_NOW)->version + "), Ogg Opus (" + opus_get_version_string() +
           "), pictures (libpng " + png_get_libpng_ver(nullptr) + "), captures (" +
           std::string(pcap.substr(0, pcap.find(" ("))) + "), QR codes (libqrencode " + QRcode_APIVersionString() + ")";
}

}  // namespace lumo
