#include "settings/NetworkSettings.h"

NetworkSettings* NetworkSettings::instance()
{
    static NetworkSettings settings;
    return &settings;
}
