#pragma once

#include <QObject>

/// The place for network settings; none are stored so far.
class NetworkSettings : public QObject
{
    Q_OBJECT

public:
    static NetworkSettings* instance();

    void load() { }

private:
    NetworkSettings() = default;
};
