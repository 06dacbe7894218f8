#pragma once

#include <QCheckBox>

// The check box of one permission. It can show a mixed state, but the user only ever
// moves it off → on, on → off and mixed → on; mixed is set by the program alone.
// Values use the three-state codes -1 (mixed), 0 (off) and 1 (on).
class MGAclPermissionButton : public QCheckBox
{
    Q_OBJECT
    Q_PROPERTY(int state READ state WRITE setState)
public:
    explicit MGAclPermissionButton(QWidget *parent = nullptr);
    explicit MGAclPermissionButton(const QString &text, QWidget *parent = nullptr);

    int state() const;
    // -1 shows mixed (and enables the three states), 0 off, anything else on.
    void setState(int state);

protected:
    void nextCheckState() override;
};
