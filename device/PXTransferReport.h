#ifndef DEVICE_PXTRANSFERREPORT_H
#define DEVICE_PXTRANSFERREPORT_H

#include <GrbC/GrbCTypes.h>

#include <QString>
#include <QtGlobal>

// How a camera's last file transfer went, in facts rather than words, for callers that
// tell the user which step failed and why.
struct PXTransferReport
{
    enum class Step
    {
        None, // nothing failed
        LocalFile, // opening, reading or writing the local file
        Select, // FileSelector
        Name, // Filename
        Open, // FileOpenMode, FileOperationSelector and FileOperationExecute for Open
        Size, // FileSize
        Length, // FileAccessLength before the first chunk
        Chunk, // offset, length, selector or FileOperationExecute of a chunk
        Buffer, // reading or writing FileAccessBuffer
        ShortBuffer, // FileAccessBuffer held fewer bytes than the chunk
        Close, // FileOperationSelector and FileOperationExecute for Close
        Aborted, // the caller asked the transfer to end
    };

    Step step = Step::None;
    // The SDK's code of the failing call; -12 when a command did not complete in time.
    GrbErrorType sdkCode = GrbErrorSuccess;
    // errno of a failing local file operation, else 0.
    int localError = 0;
    // The camera's FileOperationStatus after a failed operation, when it tells.
    QString deviceStatus;
    // Byte offset of the chunk that failed.
    qint64 offset = 0;
    // For a short buffer: the bytes the chunk needed and the bytes the buffer held.
    qint64 expected = 0;
    qint64 received = 0;
    // Open first failed, the file left open (by an interrupted client) was closed, and
    // Open then succeeded.
    bool openRecovered = false;
    // The bytes an upload read from its local file; -1 before it was read.
    qint64 localBytes = -1;
    // An upload ended on request took the part it had written off the camera again.
    bool incompleteRemoved = false;
};

#endif
