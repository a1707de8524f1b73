#include "CliOptions.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace {

struct CommandRule
{
    QSet<QString> options;
    int minPositional;
    int maxPositional; // -1: any number
};

// Options every command takes.
const QSet<QString> kCommon{QStringLiteral("--simulate"), QStringLiteral("--json"), QStringLiteral("--quiet")};

const QHash<QString, CommandRule>& rules()
{
    static const QHash<QString, CommandRule> table{
        {QStringLiteral("list"), {{QStringLiteral("--all")}, 0, 0}},
        {QStringLiteral("info"), {{}, 1, 1}},
        {QStringLiteral("ls"), {{QStringLiteral("--selector")}, 1, 1}},
        // FILE may be left out for a single-file slot; checked once the camera answers.
        {QStringLiteral("get"),
         {{QStringLiteral("--selector"), QStringLiteral("--output"), QStringLiteral("--force"),
           QStringLiteral("--verify")},
          1,
          -1}},
        {QStringLiteral("put"),
         {{QStringLiteral("--selector"), QStringLiteral("--as"), QStringLiteral("--force"), QStringLiteral("--verify")},
          2,
          -1}},
        {QStringLiteral("rm"), {{QStringLiteral("--selector"), QStringLiteral("--yes")}, 1, -1}},
        {QStringLiteral("firmware"),
         {{QStringLiteral("--all-compatible"), QStringLiteral("--jobs"), QStringLiteral("--reset-timeout")}, 1, -1}},
    };
    return table;
}

bool positiveInt(const QString& text, int& value)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok || v < 1)
        return false;
    value = v;
    return true;
}

} // namespace

QStringList CliOptions::Commands()
{
    return {QStringLiteral("list"), QStringLiteral("info"), QStringLiteral("ls"),      QStringLiteral("get"),
            QStringLiteral("put"),  QStringLiteral("rm"),   QStringLiteral("firmware")};
}

bool CliOptions::Parse(const QStringList& arguments, QString& error)
{
    // Known before anything can go wrong, so that an error in the line is also reported
    // as a document when the caller asked for one.
    const int end = arguments.indexOf(QStringLiteral("--"));
    json = arguments.mid(0, end < 0 ? arguments.size() : end).contains(QStringLiteral("--json"));

    QStringList given;
    bool optionsEnded = false;
    for (int i = 0; i < arguments.size(); ++i)
    {
        const QString& argument = arguments.at(i);
        if (optionsEnded || argument == QLatin1String("-") || !argument.startsWith(QLatin1Char('-')))
        {
            if (command.isEmpty())
                command = argument;
            else
                positional << argument;
            continue;
        }
        if (argument == QLatin1String("--"))
        {
            optionsEnded = true;
            continue;
        }

        QString name = argument;
        QString value;
        bool hasValue = false;
        const int equals = argument.indexOf(QLatin1Char('='));
        if (argument.startsWith(QLatin1String("--")) && equals > 0)
        {
            name = argument.left(equals);
            value = argument.mid(equals + 1);
            hasValue = true;
        }
        if (name == QLatin1String("-o"))
            name = QStringLiteral("--output");
        if (name == QLatin1String("-h"))
            name = QStringLiteral("--help");

        auto takeValue = [&]() -> bool
        {
            if (hasValue)
                return true;
            if (i + 1 >= arguments.size())
            {
                error = QStringLiteral("%1 needs a value").arg(argument);
                return false;
            }
            value = arguments.at(++i);
            return true;
        };
        auto noValue = [&]() -> bool
        {
            if (hasValue)
                error = QStringLiteral("%1 takes no value").arg(name);
            return !hasValue;
        };

        if (name == QLatin1String("--simulate"))
        {
            simulate = true;
            simulation = hasValue ? value : QStringLiteral("demo");
            if (simulation.isEmpty())
            {
                error = QStringLiteral("--simulate= needs a description file (or leave out '=' for the demo set)");
                return false;
            }
        }
        else if (name == QLatin1String("--help") || name == QLatin1String("--version") ||
                 name == QLatin1String("--json") || name == QLatin1String("--quiet") ||
                 name == QLatin1String("--verify") || name == QLatin1String("--force") ||
                 name == QLatin1String("--yes") || name == QLatin1String("--all") ||
                 name == QLatin1String("--all-compatible"))
        {
            if (!noValue())
                return false;
            help = help || name == QLatin1String("--help");
            version = version || name == QLatin1String("--version");
            json = json || name == QLatin1String("--json");
            quiet = quiet || name == QLatin1String("--quiet");
            verify = verify || name == QLatin1String("--verify");
            force = force || name == QLatin1String("--force");
            yes = yes || name == QLatin1String("--yes");
            all = all || name == QLatin1String("--all");
            allCompatible = allCompatible || name == QLatin1String("--all-compatible");
        }
        else if (name == QLatin1String("--selector") || name == QLatin1String("--output") ||
                 name == QLatin1String("--as"))
        {
            if (!takeValue())
                return false;
            if (value.isEmpty())
            {
                error = QStringLiteral("%1 needs a non-empty value").arg(name);
                return false;
            }
            if (name == QLatin1String("--selector"))
            {
                selector = value;
                selectorGiven = true;
            }
            else if (name == QLatin1String("--output"))
            {
                output = value;
                outputGiven = true;
            }
            else
            {
                deviceName = value;
                deviceNameGiven = true;
            }
        }
        else if (name == QLatin1String("--jobs"))
        {
            if (!takeValue())
                return false;
            if (!positiveInt(value, jobs))
            {
                error = QStringLiteral("--jobs needs a whole number of at least 1, not '%1'").arg(value);
                return false;
            }
        }
        else if (name == QLatin1String("--reset-timeout"))
        {
            if (!takeValue())
                return false;
            bool ok = false;
            const double seconds = value.toDouble(&ok);
            if (!ok || !(seconds > 0) || seconds > 86400)
            {
                error = QStringLiteral("--reset-timeout needs a number of seconds above 0, not '%1'").arg(value);
                return false;
            }
            resetTimeoutMs = static_cast<int>(seconds * 1000 + 0.5);
        }
        else
        {
            error = QStringLiteral("unknown option %1").arg(argument);
            return false;
        }
        given << name;
    }
    if (help || version)
        return true;
    return _check(given, error);
}

bool CliOptions::_check(const QStringList& given, QString& error) const
{
    if (command.isEmpty())
    {
        error = QStringLiteral("no command given (one of: %1)").arg(Commands().join(QStringLiteral(", ")));
        return false;
    }
    const auto rule = rules().constFind(command);
    if (rule == rules().constEnd())
    {
        error = QStringLiteral("unknown command '%1' (one of: %2)").arg(command, Commands().join(QStringLiteral(", ")));
        // "--simulate cameras.txt" takes the demo set and leaves the file as the command.
        if (simulate && QFileInfo(command).isFile())
            error += QStringLiteral("; a description file goes with --simulate=FILE");
        return false;
    }
    for (const QString& option : given)
        if (!kCommon.contains(option) && !rule->options.contains(option))
        {
            error = QStringLiteral("%1 is not an option of %2").arg(option, command);
            return false;
        }

    int minimum = rule->minPositional;
    if (command == QLatin1String("firmware") && !allCompatible)
        minimum = 2;
    if (positional.size() < minimum)
    {
        error = command == QLatin1String("firmware")
                    ? QStringLiteral("firmware needs the cameras and the image (or --all-compatible and the image)")
                    : QStringLiteral("%1 needs more arguments").arg(command);
        return false;
    }
    if (rule->maxPositional >= 0 && positional.size() > rule->maxPositional)
    {
        error =
            QStringLiteral("too many arguments for %1: %2").arg(command, positional.mid(rule->maxPositional).join(' '));
        return false;
    }
    if (command == QLatin1String("firmware") && allCompatible && positional.size() != 1)
    {
        error = QStringLiteral("firmware --all-compatible takes the image only, no cameras");
        return false;
    }
    if (command == QLatin1String("put") && deviceNameGiven && positional.size() != 2)
    {
        error = QStringLiteral("--as names one file; give exactly one local file with it");
        return false;
    }
    return true;
}
