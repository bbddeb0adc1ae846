// The media of `lumo publish` and `lumo subscribe`: a new one is a line in each list.
#include "tools/lumo/media/audio_publish_medium.h"
#include "tools/lumo/media/audio_subscribe_medium.h"
#include "tools/lumo/media/desktop_publish_medium.h"
#include "tools/lumo/media/desktop_subscribe_medium.h"
#include "tools/lumo/media/video_publish_medium.h"
#include "tools/lumo/media/video_subscribe_medium.h"

#include <nlohmann/json.hpp>

namespace lumo {

nlohmann::json IPublishMedium::NextEvent(std::string&) { return {}; }

std::vector<std::shared_ptr<IPublishMedium>> PublishMedia() {
    return {std::make_shared<CAudioPublishMedium>(), std::make_shared<CVideoPublishMedium>(),
            std::make_shared<CDesktopPublishMedium>()};
}

std::vector<std::shared_ptr<ISubscribeMedium>> SubscribeMedia() {
    return {std::make_shared<CAudioSubscribeMedium>(), std::make_shared<CVideoSubscribeMedium>(),
            std::make_shared<CDesktopSubscribeMedium>()};
}

}  // namespace lumo
