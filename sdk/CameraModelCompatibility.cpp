#include "CameraModelCompatibility.h"

#include <QRegularExpression>
#include <QVector>

#include <utility>

namespace {

using FamilyRow = std::pair<QString, QRegularExpression>;

// Rows are tried in this order and the first match names the family, so the order
// matters where expressions overlap ("RZ-..." and "RZ3-...").
const QVector<FamilyRow>& compatibilityTable()
{
    static const QVector<FamilyRow> table{
        {QStringLiteral("qda"), QRegularExpression(QStringLiteral("^qda\\d{3}[MC](XGE|25GE|100GE_RDMA|CX)"))},
        {QStringLiteral("vt"), QRegularExpression(QStringLiteral("^vt\\d+[MC](CX|100GE_RDMA)"))},
        {QStringLiteral("kvt"), QRegularExpression(QStringLiteral("^kvt\\d+[MC]CX$"))},
        {QStringLiteral("Nimbra"), QRegularExpression(QStringLiteral("^Nimbra[\\d.]+[MC]CX12$"))},
        {QStringLiteral("T-R402"), QRegularExpression(QStringLiteral("^T-R402(-C)?$"))},
        {QStringLiteral("RZ"), QRegularExpression(QStringLiteral("^RZ-\\d+M$"))},
        {QStringLiteral("Drevak"), QRegularExpression(QStringLiteral("^Drevak-DCX"))},
        {QStringLiteral("RZ3"), QRegularExpression(QStringLiteral("^RZ3-"))},
        {QStringLiteral("ybo"), QRegularExpression(QStringLiteral("^ybo"))},
        {QStringLiteral("nar"), QRegularExpression(QStringLiteral("^nar"))},
        {QStringLiteral("TN-PX"), QRegularExpression(QStringLiteral("^TN-PX"))},
    };
    return table;
}

} // namespace

bool IsCameraModelCompatible(const QString& modelName, QString& family)
{
    for (const auto& row : compatibilityTable())
    {
        if (row.second.match(modelName).hasMatch())
        {
            family = row.first;
            return true;
        }
    }
    family.clear();
    return false;
}
