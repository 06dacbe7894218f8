#include "MGTreeNode.h"

#include "MGCborReader.h"

#include <QCborArray>
#include <QCborMap>

namespace {
constexpr qsizetype MaximumTitleLength = 4096;
}

MGTreeNode::Pointer MGTreeNode::treeNodeWithRepresentedObject(const QString &title, int state)
{
    return Pointer(new MGTreeNode(title, state));
}

QVariantMap MGTreeNode::representedObject() const
{
    return {{QStringLiteral("title"), m_title}, {QStringLiteral("state"), m_state}};
}

void MGTreeNode::addChild(const Pointer &child)
{
    child->m_parent = weak_from_this();
    m_children << child;
}

bool MGTreeNode::isEqual(const MGTreeNode &other) const
{
    return m_title == other.m_title && m_state == other.m_state && m_detail == other.m_detail && m_key == other.m_key
        && forestsEqual(m_children, other.m_children);
}

bool MGTreeNode::forestsEqual(const QList<Pointer> &a, const QList<Pointer> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Pointer &x, const Pointer &y) { return x->isEqual(*y); });
}

QCborValue MGTreeNode::toCbor() const
{
    QCborMap map;
    map.insert(QStringLiteral("title"), m_title);
    map.insert(QStringLiteral("state"), m_state);
    if (!m_detail.isEmpty())
        map.insert(QStringLiteral("detail"), m_detail);
    if (!m_key.isEmpty())
        map.insert(QStringLiteral("key"), m_key);
    if (!m_children.isEmpty())
        map.insert(QStringLiteral("children"), forestToCbor(m_children));
    return map;
}

QCborValue MGTreeNode::forestToCbor(const QList<Pointer> &nodes)
{
    QCborArray array;
    for (const Pointer &node : nodes)
        array.append(node->toCbor());
    return array;
}

MGTreeNode::Pointer MGTreeNode::readNode(const QCborValue &value, MGCborReader &read, int *budget, int depth)
{
    if (depth >= MaximumDepth) {
        read.fail(QStringLiteral("tree nested too deeply"));
        return nullptr;
    }
    if (--*budget < 0) {
        read.fail(QStringLiteral("tree has too many nodes"));
        return nullptr;
    }
    const QString what = QStringLiteral("tree node");
    const auto map = read.map(value, what, {QStringLiteral("title"), QStringLiteral("state")},
                              {QStringLiteral("children"), QStringLiteral("detail"), QStringLiteral("key")});
    if (!map)
        return nullptr;
    const auto title = read.text(*map, what, QStringLiteral("title"), MaximumTitleLength);
    const auto state = read.integer(*map, what, QStringLiteral("state"), -1, 1);
    if (!read.ok())
        return nullptr;
    Pointer node = treeNodeWithRepresentedObject(*title, int(*state));
    if (map->contains(QStringLiteral("detail"))) {
        const auto detail = read.text(*map, what, QStringLiteral("detail"), MaximumTitleLength);
        if (!detail)
            return nullptr;
        node->setDetail(*detail);
    }
    if (map->contains(QStringLiteral("key"))) {
        const auto key = read.text(*map, what, QStringLiteral("key"), MaximumTitleLength);
        if (!key)
            return nullptr;
        node->setKey(*key);
    }
    if (!map->contains(QStringLiteral("children")))
        return node;
    const auto children = read.array(map->value(QStringLiteral("children")), QStringLiteral("tree node children"), *budget);
    if (!children)
        return nullptr;
    for (const QCborValue &child : *children) {
        Pointer childNode = readNode(child, read, budget, depth + 1);
        if (!childNode)
            return nullptr;
        node->addChild(childNode);
    }
    return node;
}

MGTreeNode::Pointer MGTreeNode::fromCbor(const QCborValue &value, QString *problem)
{
    MGCborReader read(problem);
    int budget = MaximumNodes;
    return readNode(value, read, &budget, 0);
}

std::optional<QList<MGTreeNode::Pointer>> MGTreeNode::forestFromCbor(const QCborValue &value, QString *problem)
{
    MGCborReader read(problem);
    int budget = MaximumNodes;
    const auto array = read.array(value, QStringLiteral("tree"), budget);
    if (!array)
        return std::nullopt;
    QList<Pointer> forest;
    for (const QCborValue &item : *array) {
        Pointer node = readNode(item, read, &budget, 0);
        if (!node)
            return std::nullopt;
        forest << node;
    }
    return forest;
}
