// The question before a Quit or Force Quit reaches anything: what would end, one line
// per process (name, PID, the start of its command line), each chosen or not, and
// "All N" as an explicit choice. Nothing is sent from here; the panel acts on
// accepted() with chosen(). Opened with open(), so the interface keeps running.
#pragma once

#include <QDialog>
#include <QString>
#include <vector>

class QCheckBox;
class QListWidget;
class QPushButton;

namespace qm::app {

class ProcessChoiceDialog : public QDialog {
    Q_OBJECT
public:
    struct Texts {
        QString heading;  // shown in the dialog, not only as its window title
        QString question;
        QString warning;  // may be empty
        QString confirm;  // the button that acts
        bool destructive = false;
    };
    struct Line {
        QString text;
        bool choosable = true;
        bool chosen = false;
    };

    ProcessChoiceDialog(const Texts& texts, const std::vector<Line>& lines, QWidget* parent);

    // The lines chosen, by index.
    std::vector<size_t> chosen() const;

    // For tests.
    QListWidget* list() const { return list_; }
    QCheckBox* allBox() const { return all_; }
    QPushButton* confirmButton() const { return confirm_; }
    QPushButton* cancelButton() const { return cancel_; }

private:
    void updateButtons();

    std::vector<bool> initial_;
    QListWidget* list_;
    QCheckBox* all_ = nullptr;
    QPushButton* confirm_;
    QPushButton* cancel_;
};

}  // namespace qm::app
