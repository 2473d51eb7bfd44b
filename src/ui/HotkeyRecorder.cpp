#include "ui/HotkeyRecorder.h"

#include <QKeyEvent>

HotkeyRecorder::HotkeyRecorder(QQuickItem* parent)
    : QQuickItem(parent) {
    setActiveFocusOnTab(false);
}

void HotkeyRecorder::setRow(HotkeyRowModel* row) {
    if (row == m_row)
        return;
    if (m_row)
        disconnect(m_row, nullptr, this, nullptr);
    m_row = row;
    if (m_row) {
        connect(m_row, &HotkeyRowModel::isRecordingChanged, this, [this] {
            if (isRecording())
                forceActiveFocus(Qt::OtherFocusReason);
        });
    }
    Q_EMIT rowChanged();
}

bool HotkeyRecorder::event(QEvent* event) {
    // A key that is some shortcut of the window is still the key being recorded.
    if (event->type() == QEvent::ShortcutOverride && isRecording()) {
        event->accept();
        return true;
    }
    return QQuickItem::event(event);
}

void HotkeyRecorder::keyPressEvent(QKeyEvent* event) {
    if (!isRecording()) {
        event->ignore();
        return;
    }
    m_row->recordKey(event->key());
    event->accept();
}

void HotkeyRecorder::focusOutEvent(QFocusEvent* event) {
    if (isRecording())
        m_row->cancelRecording();
    QQuickItem::focusOutEvent(event);
}
