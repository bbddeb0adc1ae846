#include "tools/lumo/media/annexb.h"

namespace lumo {

bool TakeNal(std::string_view& rest, Nal& nal) {
    const size_t code = rest.find(kStartCode);
    if (code == std::string_view::npos || rest.find_first_not_of('\0') < code) return false;
    const size_t header = code + kStartCode.size();
    size_t end = rest.find(kStartCode, header);
    if (end == std::string_view::npos)
        end = rest.size();
    else if (end > header && rest[end - 1] == 0)
        --end;  // the longer start code of the next one
    nal.type = header < end ? TypeOf(rest[header]) : NalType::Empty;
    nal.bytes = rest.substr(0, end);
    rest.remove_prefix(end);
    return true;
}

}  // namespace lumo
