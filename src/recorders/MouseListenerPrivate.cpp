#include "recorders/MouseListenerPrivate.h"

void MouseListenerPrivate::emitMousePositionChanged(qint64 time, qint64 x, qint64 y)
{
    if (x == m_lastPositionX && y == m_lastPositionY)
        return;
    m_lastPositionX = x;
    m_lastPositionY = y;
    emit mousePositionChanged(time, x, y);
}
