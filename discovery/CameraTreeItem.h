#ifndef CAMERATREEITEM_H
#define CAMERATREEITEM_H

#include "sdk/CameraInfoMap.h"

#include <QMap>
#include <QString>
#include <QVariant>

#include <vector>

// One node of the camera tree: a transport layer, an interface or a camera, with its
// named values. Owns the children it lists; children it lets go of are not destroyed.
class CameraTreeItem
{
public:
    CameraTreeItem(const QMap<QString, QVariant>& data, CameraTreeItem* parent);
    ~CameraTreeItem();

    CameraTreeItem(const CameraTreeItem&) = delete;
    CameraTreeItem& operator=(const CameraTreeItem&) = delete;

    CameraTreeItem* GetChild(int row) const;
    int ChildCount() const;
    int ColumnCount() const;
    QVariant GetData(const QString& key) const;
    void SetData(const QString& key, const QVariant& value);
    CameraTreeItem* ParentItem() const;
    int GetRow() const;
    bool isChecked() const;
    void setChecked(bool checked);

    void AppendChild(CameraTreeItem* child);
    void RemoveChild(int row);
    int GetChildRow(const CameraInfoMap& camera) const;
    void RemoveCameraItem(const CameraInfoMap& camera);

private:
    std::vector<CameraTreeItem*> m_children;
    QMap<QString, QVariant> m_data;
    CameraTreeItem* m_parent;
    bool m_checked = false;
};

#endif
