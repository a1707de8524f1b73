#ifndef CAMERATREEMODEL_H
#define CAMERATREEMODEL_H

#include "sdk/CameraInfoMap.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QStringList>
#include <QVector>

#include <memory>
#include <vector>

class CameraTreeItem;

// The detected cameras as a tree: transport layer, interface, camera. A column shows
// each node's value under that column's header label; the extended id names a camera.
class CameraTreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit CameraTreeModel(QObject* parent = nullptr);
    ~CameraTreeModel() override;

    void Init(const QVector<CameraInfoMap>& cameras);

    CameraInfoMap AddDisplayedId(const CameraInfoMap& camera) const;
    QModelIndex GetBranchIndex(CameraTreeItem* parent, const QString& name) const;
    QModelIndex GetCameraIndex(CameraTreeItem* node, const CameraInfoMap& camera) const;
    QString GetCameraExtId(const QModelIndex& index) const;
    QString GetCameraName(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

public slots:
    void OnCameraAdded(const CameraInfoMap& camera);
    void OnCameraRemoved(const CameraInfoMap& camera);
    void OnCameraAccessChanged(const CameraInfoMap& camera);

private:
    static CameraTreeItem* _node(const QModelIndex& index);
    QModelIndex _findCamera(const CameraInfoMap& camera) const;
    void _appendLeaf(CameraTreeItem* interfaceItem, const CameraInfoMap& camera);

    QStringList m_headerLabels;
    CameraTreeItem* m_root = nullptr;
    // Nodes taken out of the tree by removals. Views may still hold persistent indexes
    // of an emptied branch, so they are freed only with the next reset.
    std::vector<std::unique_ptr<CameraTreeItem>> m_unlinked;
    // Camera leaves by extended id, in the order they were added, so that plug events
    // need not walk the whole tree.
    QHash<QString, std::vector<CameraTreeItem*>> m_leaves;
};

#endif
