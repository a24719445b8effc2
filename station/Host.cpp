#include "station/Host.h"

#include <QDateTime>
#include <QSysInfo>

#include <chrono>

std::string CHost::Now() const
{
    using namespace Qt::StringLiterals;
    return QDateTime::currentDateTimeUtc().toString(u"yyyy-MM-dd'T'HH:mm:ss.zzz'+00:00'"_s).toStdString();
}

double CHost::Seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string CHost::Name() const { return QSysInfo::machineHostName().toStdString(); }
