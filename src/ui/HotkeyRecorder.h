#pragma once

#include "ui/HotkeyRowModel.h"

#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

// Catches the next key pressed in the window for a hotkey row while the row records: it takes
// every key then, shortcuts included, and hands it to the row. Leaving it ends the recording.
class HotkeyRecorder : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(HotkeyRowModel* row READ row WRITE setRow NOTIFY rowChanged)

public:
    explicit HotkeyRecorder(QQuickItem* parent = nullptr);

    HotkeyRowModel* row() const { return m_row; }
    void setRow(HotkeyRowModel* row);
    bool isRecording() const { return m_row && m_row->isRecording(); }

Q_SIGNALS:
    void rowChanged();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QPointer<HotkeyRowModel> m_row;
};
