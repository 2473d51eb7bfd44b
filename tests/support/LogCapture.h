#pragma once

#include <QList>
#include <QMutex>
#include <QString>
#include <QtGlobal>

// Records every Qt log message while it lives (and still passes them on to the previous
// handler), so tests can check exact log lines and their categories.
class LogCapture {
public:
    struct Entry {
        QtMsgType type;
        QString category;
        QString message;
    };

    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY(LogCapture)

    QList<Entry> entries() const;
    // Messages of one category, in order.
    QStringList messages(const QString& category) const;
    bool contains(const QString& category, const QString& message) const;
    int count(const QString& category, const QString& message) const;
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    mutable QMutex m_mutex;
    QList<Entry> m_entries;
    QtMessageHandler m_previous = nullptr;
    LogCapture* m_outer = nullptr;
};
