#ifndef TESTS_ASSISTANT_DIALOGSCRIPT_H
#define TESTS_ASSISTANT_DIALOGSCRIPT_H

// Answers the dialogs a test provokes, in order, from a timer that watches
// QApplication::activeModalWidget() and context menus: message boxes by a button, file
// dialogs by a name typed into them. seen keeps what each one showed: "title|text|buttons"
// for message boxes, "title|start directory|filters" for file dialogs, "menu|actions".
// A dialog without an answer left is rejected and marked, so a test fails, not hangs.

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QQueue>
#include <QTimer>

#include <functional>

class DialogScript : public QObject
{
public:
    DialogScript()
    {
        connect(&m_timer, &QTimer::timeout, this, &DialogScript::_poll);
        m_timer.start(5);
    }

    DialogScript& press(QMessageBox::StandardButton button)
    {
        m_answers.enqueue([button](QWidget* dialog) {
            auto* box = qobject_cast<QMessageBox*>(dialog);
            return box && box->button(button) && (box->button(button)->click(), true);
        });
        return *this;
    }

    // Absolute paths; several are typed at once as a quoted list.
    DialogScript& choose(const QStringList& paths)
    {
        m_answers.enqueue([paths](QWidget* dialog) {
            auto* files = qobject_cast<QFileDialog*>(dialog);
            if (!files)
                return false;
            files->selectFile(paths.size() == 1 ? paths.first() : "\"" + paths.join("\" \"") + "\"");
            static_cast<QDialog*>(files)->accept(); // QFileDialog's own accept() checks the names
            return true;
        });
        return *this;
    }
    DialogScript& choose(const QString& path) { return choose(QStringList{path}); }

    DialogScript& cancel()
    {
        m_answers.enqueue([](QWidget* dialog) { return qobject_cast<QDialog*>(dialog) && (dialog->close(), true); });
        return *this;
    }

    bool finished() const { return m_answers.isEmpty(); }

    QStringList seen;

private:
    void _poll()
    {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget()))
        {
            QStringList texts;
            for (QAction* action : menu->actions())
                texts << action->text();
            seen << "menu|" + texts.join(',');
            menu->close();
            return;
        }
        QWidget* dialog = QApplication::activeModalWidget();
        // A dialog that did not take its answer (a file name refused) is given up on.
        if (!dialog || (dialog == m_answered && ++m_stillOpen < 200))
            return;
        m_stillOpen = 0;
        if (auto* box = qobject_cast<QMessageBox*>(dialog))
        {
            QStringList buttons;
            const std::pair<QMessageBox::StandardButton, const char*> names[] = {
                {QMessageBox::Ok, "Ok"}, {QMessageBox::Yes, "Yes"}, {QMessageBox::No, "No"},
                {QMessageBox::NoToAll, "NoToAll"}, {QMessageBox::Cancel, "Cancel"}};
            for (const auto& name : names)
                if (box->standardButtons() & name.first)
                    buttons << name.second;
            seen << box->windowTitle() + "|" + box->text() + "|" + buttons.join(',');
        }
        else if (auto* files = qobject_cast<QFileDialog*>(dialog))
            seen << files->windowTitle() + "|" + files->directory().absolutePath() + "|" + files->nameFilters().join(',');
        else
            seen << dialog->windowTitle();
        if (dialog == m_answered || m_answers.isEmpty() || !m_answers.dequeue()(dialog))
        {
            seen.last().prepend("unexpected: ");
            dialog->close();
        }
        m_answered = dialog;
    }

    QTimer m_timer;
    QQueue<std::function<bool(QWidget*)>> m_answers;
    QPointer<QWidget> m_answered;
    int m_stillOpen = 0;
};

#endif
