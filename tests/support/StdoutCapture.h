#pragma once

#include <QString>
#include <QStringList>

// Captures what the process writes to standard output (file descriptor 1) while it lives, so
// tests can check exact printed lines. The captured text is passed on to the real standard
// output when the capture ends, so test logs still show it.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    Q_DISABLE_COPY(StdoutCapture)

    // Everything written since the capture started (or since clear()).
    QString text() const;
    QStringList lines() const;
    bool contains(const QString& line) const { return lines().contains(line); }
    int count(const QString& line) const { return int(lines().count(line)); }
    // Forgets what was captured so far (it is still passed on at the end).
    void clear();

private:
    QByteArray readAll() const;

    int m_savedStdout = -1, m_file = -1;
    qint64 m_start = 0;
};
