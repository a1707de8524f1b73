#ifndef CLI_CLIOPTIONS_H
#define CLI_CLIOPTIONS_H

#include <QString>
#include <QStringList>

// The command line, parsed: the command, its positional arguments and the options,
// checked against what the command accepts. Options may stand anywhere; "--" ends them.
class CliOptions
{
public:
    // False with a one-line reason in error when the line cannot be carried out as written.
    bool Parse(const QStringList& arguments, QString& error);

    bool help = false;
    bool version = false;

    QString command;
    QStringList positional;

    bool simulate = false;
    QString simulation; // "demo" or a description file
    bool json = false;
    bool quiet = false;
    bool verify = false;
    bool force = false;
    bool yes = false;
    bool all = false;
    bool allCompatible = false;
    QString selector;
    bool selectorGiven = false;
    QString output;
    bool outputGiven = false;
    QString deviceName; // --as
    bool deviceNameGiven = false;
    int jobs = 4;
    int resetTimeoutMs = 180000;

    // The commands in the order --help lists them.
    static QStringList Commands();

private:
    bool _check(const QStringList& given, QString& error) const;
};

#endif
