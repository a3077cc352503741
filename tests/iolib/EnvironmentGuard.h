#pragma once

#include <QByteArray>
#include <QtGlobal>

// Sets (or unsets) an environment variable for one test and puts the old value back afterwards.
class EnvironmentGuard {
public:
    EnvironmentGuard(const char* name, const QByteArray& value, bool set = true)
        : m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_old(qgetenv(name)) {
        if (set)
            qputenv(name, value);
        else
            qunsetenv(name);
    }
    ~EnvironmentGuard() {
        if (m_wasSet)
            qputenv(m_name, m_old);
        else
            qunsetenv(m_name);
    }
    EnvironmentGuard(const EnvironmentGuard&) = delete;
    EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

private:
    const char* m_name;
    bool m_wasSet;
    QByteArray m_old;
};
