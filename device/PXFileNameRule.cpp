#include "PXFileNameRule.h"

#include <QCoreApplication>

bool PXFileNameRule::IsAcceptableLocalName(const QString& deviceFileName, QString* reason)
{
    QString why;
    if (deviceFileName.isEmpty())
        why = QCoreApplication::translate("PXFileNameRule", "the name is empty");
    else if (deviceFileName == QLatin1String(".") || deviceFileName == QLatin1String(".."))
        why = QCoreApplication::translate("PXFileNameRule", "the name is a directory reference");
    else if (deviceFileName.contains(QLatin1Char('/')))
        why = QCoreApplication::translate("PXFileNameRule", "the name contains '/'");
    // A backslash is an ordinary character on Linux, but the camera's files are also
    // written and read by tools on Windows hosts, where it separates directories: a
    // name such as "..\\x" is a path there, so it is refused here as well, and a file
    // taken off a camera gets the same treatment on every host.
    else if (deviceFileName.contains(QLatin1Char('\\')))
        why = QCoreApplication::translate("PXFileNameRule", "the name contains '\\'");
    // A NUL would cut the name short when it is handed to the C library.
    else if (deviceFileName.contains(QChar(0)))
        why = QCoreApplication::translate("PXFileNameRule", "the name contains a NUL character");
    if (why.isEmpty())
        return true;
    if (reason)
        *reason = why;
    return false;
}
