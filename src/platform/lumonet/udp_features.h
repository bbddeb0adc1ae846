// What SetUdpFeatures has set.
#pragma once

#include "platform/lumonet/lumonet.h"

UdpFeatures GetUdpFeatures();
