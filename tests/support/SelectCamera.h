// Test helper: makes the camera row whose label starts with prefix the current row of
// the camera list, the way a user's click would.
#ifndef TESTS_APP_SELECTCAMERA_H
#define TESTS_APP_SELECTCAMERA_H

#include <QMainWindow>
#include <QTreeView>

#include <functional>

// False while there is no such camera or the list is disabled.
inline bool SelectCamera(QMainWindow& window, const QString& prefix)
{
    auto* tree = window.findChild<QTreeView*>("treeView");
    QAbstractItemModel* model = tree->model();
    std::function<QModelIndex(const QModelIndex&)> find = [&](const QModelIndex& parent) {
        for (int row = 0; row < model->rowCount(parent); ++row)
        {
            const QModelIndex child = model->index(row, 0, parent);
            const QModelIndex found = model->rowCount(child) == 0 ? child : find(child);
            if (found.isValid() && found.data().toString().startsWith(prefix))
                return found;
        }
        return QModelIndex();
    };
    tree->setCurrentIndex(find(QModelIndex()));
    return tree->currentIndex().isValid() && tree->isEnabled();
}

#endif
