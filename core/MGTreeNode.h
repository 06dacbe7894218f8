#pragma once

#include <QCborValue>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <memory>
#include <optional>

class MGCborReader;

// One row of a tree shown by an outline view: a represented object (a title and a
// three-state value: -1 none, 0 off, 1 on) and child nodes.
class MGTreeNode : public std::enable_shared_from_this<MGTreeNode>
{
public:
    using Pointer = std::shared_ptr<MGTreeNode>;
    static constexpr int MaximumDepth = 32;
    static constexpr int MaximumNodes = 100000;

    static Pointer treeNodeWithRepresentedObject(const QString &title, int state = -1);

    const QString &title() const { return m_title; }
    int state() const { return m_state; }
    void setState(int state) { m_state = state; }
    // Why the row is as it is (for access: the entry that decides, and whether the mask
    // limits it); empty when nothing is said.
    const QString &detail() const { return m_detail; }
    void setDetail(const QString &detail) { m_detail = detail; }
    // A word that names the row the same in every language, for scripts ("write-data");
    // empty when the row has none.
    const QString &key() const { return m_key; }
    void setKey(const QString &key) { m_key = key; }
    // {"title": ..., "state": ...}, for views that read the node generically.
    QVariantMap representedObject() const;

    const QList<Pointer> &childNodes() const { return m_children; }
    MGTreeNode *parentNode() const { return m_parent.lock().get(); }
    void addChild(const Pointer &child);

    bool isEqual(const MGTreeNode &other) const;

    QCborValue toCbor() const;
    // Builds a tree from untrusted input: depth, node count, text length and value range
    // are checked.
    static Pointer fromCbor(const QCborValue &value, QString *problem);

    static QCborValue forestToCbor(const QList<Pointer> &nodes);
    static std::optional<QList<Pointer>> forestFromCbor(const QCborValue &value, QString *problem);
    static bool forestsEqual(const QList<Pointer> &a, const QList<Pointer> &b);

private:
    // `budget` counts nodes across a whole forest.
    static Pointer readNode(const QCborValue &value, MGCborReader &read, int *budget, int depth);
    MGTreeNode(QString title, int state) : m_title(std::move(title)), m_state(state) {}

    QString m_title;
    int m_state = -1;
    QString m_detail;
    QString m_key;
    QList<Pointer> m_children;
    std::weak_ptr<MGTreeNode> m_parent;
};
