#ifndef TESTS_CLI_CLIRUN_H
#define TESTS_CLI_CLIRUN_H

// Runs the built pellix-fa on a simulator description and collects what a user or a
// script would see of it.

#include "ChildCommand.h"

#include <QByteArray>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVector>

struct CliRun
{
    int exitCode = -1;
    QByteArray out;
    QString err;

    // Standard error as lines, without empty ones.
    QStringList ErrLines() const { return err.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }

    QJsonObject Json(bool* ok = nullptr) const
    {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(out, &error);
        if (ok)
            *ok = error.error == QJsonParseError::NoError && document.isObject();
        return document.object();
    }

    // The rows of a text table below its rule, cells split at two or more blanks.
    QVector<QStringList> TableRows() const
    {
        QVector<QStringList> rows;
        bool body = false;
        for (const QString& line : QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        {
            if (!body)
            {
                body = line.startsWith(QLatin1String("---"));
                continue;
            }
            rows.append(line.trimmed().split(QRegularExpression(QStringLiteral("\\s{2,}"))));
        }
        return rows;
    }
};

inline CliRun RunCli(const QString& description, const QStringList& arguments, const QString& workingDirectory,
                     const QByteArray& input = QByteArray())
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("GRB_SIMULATOR"));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDirectory);
    QStringList all = arguments;
    all.prepend(QStringLiteral("--simulate=") + description);
    ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), all).Start(process);
    CliRun run;
    if (!process.waitForStarted(10000))
        return run;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000))
    {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = process.readAllStandardOutput();
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

#endif
