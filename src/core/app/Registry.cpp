#include "app/Registry.h"

#include <QMutex>
#include <QMutexLocker>

Registry* Registry::m_Instance = nullptr;

Registry* Registry::instance()
{
    static QMutex mutex;
    if (!m_Instance) {
        QMutexLocker lock(&mutex);
        if (!m_Instance) {
            m_Instance = new Registry;
        }
    }
    return m_Instance;
}

void Registry::drop()
{
    static QMutex mutex;
    QMutexLocker lock(&mutex);
    delete m_Instance;
    m_Instance = nullptr;
}
