#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

// Runs of the qorvel executable that the including test names as QORVEL_EXECUTABLE.

// The words of `line`, as a shell splits a command without quotes: arguments that read as typed.
inline QStringList words(QAnyStringView line)
{
    return line.toString().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

struct QorvelRun
{
    int exitCode = -1; // also when it crashed or never finished
    QByteArray output;
    QString errors;

    QString text() const { return QString::fromUtf8(output); }
};

inline QorvelRun runProgram(const QString &program, const QStringList &arguments, const QByteArray &input = {},
    const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    QorvelRun run;
    if (!process.waitForFinished(60'000)) {
        process.kill();
        process.waitForFinished();
        run.errors = QStringLiteral("%1 did not finish").arg(program);
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = process.readAllStandardOutput();
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

inline QorvelRun runQorvel(const QStringList &arguments, const QByteArray &input = {},
    const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    return runProgram(QStringLiteral(QORVEL_EXECUTABLE), arguments, input, environment);
}
