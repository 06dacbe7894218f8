#pragma once

#include <QPointer>
#include <QWidget>

#include <QLabel>

// A section-title row of the entries table: a bold label indented 30 px from the leading
// edge, ending 3 px before the trailing edge, centred vertically.
class MGAclTableRowView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int LeadingInset = 30;
    static constexpr int TrailingInset = 3;

    explicit MGAclTableRowView(QWidget *parent = nullptr);

    QLabel *textField() const { return m_textField; }
    QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void layoutTextField();

    QPointer<QLabel> m_textField;
};
