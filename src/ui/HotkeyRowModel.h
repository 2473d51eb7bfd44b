#pragma once

#include "system/HotkeyAction.h"

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

// One hotkey row of the Advanced page: its own copy of the action's key and modifiers, taken
// from the hotkey manager (or the action's default) when the row is made, and stored through the
// manager whenever either changes. Recording waits for the next key pressed in the window.
class HotkeyRowModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    // The action's position in the page's order.
    Q_PROPERTY(int action READ action WRITE setAction NOTIFY actionChanged)
    Q_PROPERTY(QString displayName READ displayName NOTIFY actionChanged)
    Q_PROPERTY(int keyCode READ keyCode NOTIFY bindingChanged)
    Q_PROPERTY(QString keyName READ keyName NOTIFY bindingChanged)
    Q_PROPERTY(qint64 modifiers READ modifiers NOTIFY bindingChanged)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY isRecordingChanged)
    // The modifier buttons in order: maps of "name" ("Ctrl", "Alt", "Shift", "Super") and "flag".
    Q_PROPERTY(QVariantList modifierKeys READ modifierKeys CONSTANT)

public:
    explicit HotkeyRowModel(QObject* parent = nullptr);

    int action() const { return int(m_action); }
    void setAction(int action);
    QString displayName() const;
    int keyCode() const { return m_keyCode; }
    QString keyName() const;
    qint64 modifiers() const { return qint64(m_modifiers); }
    bool isRecording() const { return m_isRecording; }
    static QVariantList modifierKeys();

    Q_INVOKABLE void toggleRecording();
    // Ends recording without a key, as leaving the row does.
    Q_INVOKABLE void cancelRecording();
    Q_INVOKABLE void setModifier(qint64 flag, bool on);
    // The key pressed while recording (a Qt key); a modifier alone or a key without a code of
    // its own keeps recording.
    Q_INVOKABLE void recordKey(int qtKey);

    // The program's key code for a Qt key; -1 when it has none.
    static int keyCodeForQtKey(int qtKey);

Q_SIGNALS:
    void actionChanged();
    void bindingChanged();
    void isRecordingChanged();

private:
    void setRecording(bool recording);
    void store();

    HotkeyAction m_action = HotkeyAction::PlayPause;
    quint16 m_keyCode = 0;
    quint64 m_modifiers = 0;
    bool m_isRecording = false;
};
