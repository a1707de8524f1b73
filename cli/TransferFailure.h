#ifndef CLI_TRANSFERFAILURE_H
#define CLI_TRANSFERFAILURE_H

#include "device/PXTransferReport.h"

#include <QJsonObject>
#include <QString>

class ApiController;

// A camera's transfer report in the words and the JSON of the program's messages:
// which step failed and the camera's or the system's reason.
class TransferFailure
{
public:
    // "<step> failed: <reason>"; empty when the report names no failing step.
    static QString Text(const PXTransferReport& report, const ApiController& controller);
    // step, code, reason, fileOperationStatus, errno: what applies.
    static QJsonObject Json(const PXTransferReport& report, const ApiController& controller);
    // A short name of the step for scripts ("open", "chunk", "local-file", ...).
    static QString StepName(PXTransferReport::Step step);

private:
    static QString _reason(const PXTransferReport& report, const ApiController& controller);
};

#endif
