#include "CameraTreeModel.h"

#include "CameraTreeItem.h"
#include "sdk/CameraDisplayLabel.h"

#include <QHash>

#include <algorithm>
#include <tuple>

namespace {

const QString kDetectedCameras = QStringLiteral("Detected cameras");

QMap<QString, QVariant> transportLayerBranch(const CameraInfoMap& camera)
{
    return {{kDetectedCameras, camera.value("Transport Layer").toString()},
            {"TL Path", camera.value("TL Path").toString()}};
}

QMap<QString, QVariant> interfaceBranch(const CameraInfoMap& camera)
{
    const QString interfaceId = camera.value("Interface").toString();
    return {{kDetectedCameras, interfaceId}, {"Interface", interfaceId}};
}

} // namespace

CameraTreeModel::CameraTreeModel(QObject* parent)
    : QAbstractItemModel(parent)
    , m_headerLabels{kDetectedCameras, "Camera Name", "Camera ID", "Serial No.",
                     "Full Access",    "Extended ID", "Interface", "TL Path"}
{
}

CameraTreeModel::~CameraTreeModel()
{
    delete m_root;
}

void CameraTreeModel::Init(const QVector<CameraInfoMap>& cameras)
{
    beginResetModel();
    delete m_root;
    m_unlinked.clear();
    m_leaves.clear();
    m_root = new CameraTreeItem({{kDetectedCameras, QVariant()}}, nullptr);

    QHash<QString, CameraTreeItem*> transportLayers;
    QHash<QString, CameraTreeItem*> interfaces;
    for (const CameraInfoMap& camera : cameras)
    {
        const QString tl = camera.value("Transport Layer").toString();
        CameraTreeItem*& tlItem = transportLayers[tl];
        if (!tlItem)
        {
            tlItem = new CameraTreeItem(transportLayerBranch(camera), m_root);
            m_root->AppendChild(tlItem);
        }
        const QString key = QStringLiteral("%1.%2").arg(camera.value("Interface").toString(), tl);
        CameraTreeItem*& ifItem = interfaces[key];
        if (!ifItem)
        {
            ifItem = new CameraTreeItem(interfaceBranch(camera), tlItem);
            tlItem->AppendChild(ifItem);
        }
        _appendLeaf(ifItem, camera);
    }
    endResetModel();
}

CameraInfoMap CameraTreeModel::AddDisplayedId(const CameraInfoMap& camera) const
{
    CameraInfoMap leaf = camera;
    leaf.insert(kDetectedCameras, CameraDisplayLabel(camera));
    return leaf;
}

QModelIndex CameraTreeModel::GetBranchIndex(CameraTreeItem* parent, const QString& name) const
{
    if (!parent)
        return {};
    for (int row = 0; row < parent->ChildCount(); ++row)
    {
        CameraTreeItem* child = parent->GetChild(row);
        if (child->GetData(kDetectedCameras).toString() == name)
            return createIndex(row, 0, child);
    }
    return {};
}

QModelIndex CameraTreeModel::GetCameraIndex(CameraTreeItem* node, const CameraInfoMap& camera) const
{
    if (!node)
        return {};
    if (node->ChildCount() == 0)
    {
        if (node->GetData("Extended ID").toString() == camera.value("Extended ID").toString())
            return createIndex(node->GetRow(), 0, node);
        return {};
    }
    for (int row = 0; row < node->ChildCount(); ++row)
    {
        const QModelIndex found = GetCameraIndex(node->GetChild(row), camera);
        if (found.isValid())
            return found;
    }
    return {};
}

QString CameraTreeModel::GetCameraExtId(const QModelIndex& index) const
{
    CameraTreeItem* node = index.isValid() ? _node(index) : nullptr;
    return node ? node->GetData("Extended ID").toString() : QString();
}

QString CameraTreeModel::GetCameraName(const QModelIndex& index) const
{
    CameraTreeItem* node = index.isValid() ? _node(index) : nullptr;
    return node ? node->GetData("Camera Name").toString() : QString();
}

QModelIndex CameraTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    CameraTreeItem* parentItem = parent.isValid() && _node(parent) ? _node(parent) : m_root;
    CameraTreeItem* child = parentItem ? parentItem->GetChild(row) : nullptr;
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex CameraTreeModel::parent(const QModelIndex& index) const
{
    CameraTreeItem* node = index.isValid() ? _node(index) : nullptr;
    CameraTreeItem* parentItem = node ? node->ParentItem() : nullptr;
    if (!parentItem || parentItem == m_root)
        return {};
    return createIndex(parentItem->GetRow(), 0, parentItem);
}

int CameraTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    if (parent.isValid())
        return _node(parent) ? _node(parent)->ChildCount() : 0;
    return m_root ? m_root->ChildCount() : 0;
}

int CameraTreeModel::columnCount(const QModelIndex& parent) const
{
    if (parent.isValid())
        return _node(parent) ? _node(parent)->ColumnCount() : 0;
    return m_root ? m_root->ColumnCount() : 0;
}

QVariant CameraTreeModel::data(const QModelIndex& index, int role) const
{
    CameraTreeItem* node = index.isValid() ? _node(index) : nullptr;
    if (!node)
        return {};
    if (role == Qt::DisplayRole)
        return node->GetData(m_headerLabels.value(index.column()));
    if (role == Qt::ToolTipRole)
    {
        QString tip;
        for (int i = 1; i < m_headerLabels.size(); ++i)
        {
            const QVariant value = node->GetData(m_headerLabels[i]);
            if (!value.isNull())
                tip += QStringLiteral("<B>%1</B>: %2<BR>").arg(m_headerLabels[i], value.toString());
        }
        return tip;
    }
    return {};
}

bool CameraTreeModel::setData(const QModelIndex& index, const QVariant&, int)
{
    return index.isValid();
}

QVariant CameraTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    // Section 0 stays without text: the views hide the header and show only column 0.
    if (role == Qt::DisplayRole && orientation == Qt::Horizontal && section > 0 && section < m_headerLabels.size())
        return m_headerLabels[section];
    return {};
}

Qt::ItemFlags CameraTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    CameraTreeItem* node = _node(index);
    Qt::ItemFlags result = QAbstractItemModel::flags(index);
    if (!node)
        return result;
    const bool leaf = node->ChildCount() == 0;
    if (leaf)
        result.setFlag(Qt::ItemIsEnabled, node->GetData("Full Access").toBool());
    result.setFlag(Qt::ItemIsSelectable, leaf);
    return result;
}

void CameraTreeModel::OnCameraAdded(const CameraInfoMap& camera)
{
    // Every insertion announces two rows (n to n + 1) for the one it appends; views
    // of the family's tools have always been fed this way.
    const QString tl = camera.value("Transport Layer").toString();
    QModelIndex tlIndex = GetBranchIndex(m_root, tl);
    QModelIndex ifIndex;
    if (tlIndex.isValid())
    {
        if (!_node(tlIndex))
            return;
        ifIndex = GetBranchIndex(_node(tlIndex), camera.value("Interface").toString());
    }
    else
    {
        if (!m_root)
            return;
        auto* tlItem = new CameraTreeItem(transportLayerBranch(camera), m_root);
        const int n = m_root->ChildCount();
        beginInsertRows(QModelIndex(), n, n + 1);
        m_root->AppendChild(tlItem);
        endInsertRows();
        tlIndex = createIndex(tlItem->GetRow(), 0, tlItem);
    }

    if (!ifIndex.isValid() || !_node(ifIndex))
    {
        CameraTreeItem* tlItem = _node(tlIndex);
        auto* ifItem = new CameraTreeItem(interfaceBranch(camera), tlItem);
        const int n = tlItem->ChildCount();
        beginInsertRows(tlIndex, n, n + 1);
        tlItem->AppendChild(ifItem);
        endInsertRows();
        ifIndex = createIndex(ifItem->GetRow(), 0, ifItem);
    }

    CameraTreeItem* ifItem = _node(ifIndex);
    const int n = ifItem->ChildCount();
    beginInsertRows(ifIndex, n, n + 1);
    _appendLeaf(ifItem, camera);
    endInsertRows();
}

void CameraTreeModel::OnCameraRemoved(const CameraInfoMap& camera)
{
    const QModelIndex leafIndex = _findCamera(camera);
    if (!leafIndex.isValid())
        return;
    CameraTreeItem* leaf = _node(leafIndex);
    CameraTreeItem* interfaceItem = leaf->ParentItem();
    if (!interfaceItem || interfaceItem == m_root)
        return;

    // Emptied branches go inside the same one-row removal: the camera list never
    // announces branch removals of its own.
    beginRemoveRows(createIndex(interfaceItem->GetRow(), 0, interfaceItem), leafIndex.row(), leafIndex.row());
    if (CameraTreeItem* removed = interfaceItem->GetChild(interfaceItem->GetChildRow(camera)))
    {
        interfaceItem->RemoveCameraItem(camera);
        auto& sameId = m_leaves[removed->GetData("Extended ID").toString()];
        sameId.erase(std::find(sameId.begin(), sameId.end(), removed));
        m_unlinked.emplace_back(removed);
    }
    CameraTreeItem* tlItem = interfaceItem->ParentItem();
    if (interfaceItem->ChildCount() == 0 && tlItem)
    {
        tlItem->RemoveChild(interfaceItem->GetRow());
        m_unlinked.emplace_back(interfaceItem);
        if (tlItem->ChildCount() == 0 && tlItem->ParentItem())
        {
            tlItem->ParentItem()->RemoveChild(tlItem->GetRow());
            m_unlinked.emplace_back(tlItem);
        }
    }
    endRemoveRows();
}

void CameraTreeModel::OnCameraAccessChanged(const CameraInfoMap& camera)
{
    const QModelIndex leafIndex = _findCamera(camera);
    if (!leafIndex.isValid() || !_node(leafIndex))
        return;
    _node(leafIndex)->SetData("Full Access", camera.value("Full Access"));
    // An open top-left makes views repaint everything, which re-reads the row's flags.
    emit dataChanged(QModelIndex(), leafIndex, {});
}

CameraTreeItem* CameraTreeModel::_node(const QModelIndex& index)
{
    return static_cast<CameraTreeItem*>(index.internalPointer());
}

QModelIndex CameraTreeModel::_findCamera(const CameraInfoMap& camera) const
{
    // The same answer as searching the transport-layer branches in row order: of a
    // camera listed twice, the leaf that comes first in the tree.
    const auto it = m_leaves.constFind(camera.value("Extended ID").toString());
    if (!m_root || it == m_leaves.constEnd() || it->empty())
        return {};
    auto position = [](CameraTreeItem* leaf) {
        CameraTreeItem* interfaceItem = leaf->ParentItem();
        return std::make_tuple(interfaceItem->ParentItem()->GetRow(), interfaceItem->GetRow(), leaf->GetRow());
    };
    CameraTreeItem* first = it->front();
    for (CameraTreeItem* leaf : *it)
        if (position(leaf) < position(first))
            first = leaf;
    return createIndex(first->GetRow(), 0, first);
}

void CameraTreeModel::_appendLeaf(CameraTreeItem* interfaceItem, const CameraInfoMap& camera)
{
    auto* leaf = new CameraTreeItem(AddDisplayedId(camera), interfaceItem);
    interfaceItem->AppendChild(leaf);
    m_leaves[camera.value("Extended ID").toString()].push_back(leaf);
}
