#ifndef DEVICE_PXFILENAMERULE_H
#define DEVICE_PXFILENAMERULE_H

#include <QString>

// Which device file names may become the name of a local file inside a directory the
// user chose. The camera's file system is not ours: a name it reports must never lead
// the file outside that directory or onto the directory itself.
class PXFileNameRule
{
public:
    // True when deviceFileName can be used as a local file name as it is. Otherwise
    // false, and reason (if given) says why in a few words.
    static bool IsAcceptableLocalName(const QString& deviceFileName, QString* reason = nullptr);
};

#endif
