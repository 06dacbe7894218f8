#include "MGTreeNode.h"

#include <QCborArray>
#include <QCborMap>

namespace {
constexpr qsizetype MaximumTitleLength = 4096;

MGTreeNode::Pointer fail(QString *problem, const QString &why)
{
    if (problem)
        *problem = why;
    return nullptr;
}
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
    return m_title == other.m_title && m_state == other.m_state && forestsEqual(m_children, other.m_children);
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

MGTreeNode::Pointer MGTreeNode::fromCbor(const QCborValue &value, QString *problem, int *budget, int depth)
{
    int ownBudget = MaximumNodes;
    if (!budget)
        budget = &ownBudget;
    if (depth >= MaximumDepth)
        return fail(problem, QStringLiteral("tree nested too deeply"));
    if (--*budget < 0)
        return fail(problem, QStringLiteral("tree has too many nodes"));
    if (!value.isMap())
        return fail(problem, QStringLiteral("tree node is not a map"));
    const QCborMap map = value.toMap();
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        const QString key = it.key().toString();
        if (key != QLatin1String("title") && key != QLatin1String("state") && key != QLatin1String("children"))
            return fail(problem, QStringLiteral("unknown tree node field"));
    }
    const QCborValue title = map.value(QStringLiteral("title"));
    const QCborValue state = map.value(QStringLiteral("state"));
    if (!title.isString() || !state.isInteger())
        return fail(problem, QStringLiteral("tree node field of the wrong type"));
    if (title.toString().size() > MaximumTitleLength)
        return fail(problem, QStringLiteral("tree node title too long"));
    if (state.toInteger() < -1 || state.toInteger() > 1)
        return fail(problem, QStringLiteral("tree node state out of range"));
    Pointer node = treeNodeWithRepresentedObject(title.toString(), int(state.toInteger()));
    const QCborValue children = map.value(QStringLiteral("children"));
    if (children.isUndefined())
        return node;
    if (!children.isArray())
        return fail(problem, QStringLiteral("tree node children are not a list"));
    const QCborArray array = children.toArray();
    if (array.size() > *budget)
        return fail(problem, QStringLiteral("tree has too many nodes"));
    for (const QCborValue &child : array) {
        Pointer childNode = fromCbor(child, problem, budget, depth + 1);
        if (!childNode)
            return nullptr;
        node->addChild(childNode);
    }
    return node;
}

std::optional<QList<MGTreeNode::Pointer>> MGTreeNode::forestFromCbor(const QCborValue &value, QString *problem)
{
    if (!value.isArray()) {
        if (problem)
            *problem = QStringLiteral("tree is not a list");
        return std::nullopt;
    }
    const QCborArray array = value.toArray();
    int budget = MaximumNodes;
    if (array.size() > budget) {
        if (problem)
            *problem = QStringLiteral("tree has too many nodes");
        return std::nullopt;
    }
    QList<Pointer> forest;
    for (const QCborValue &item : array) {
        Pointer node = fromCbor(item, problem, &budget, 0);
        if (!node)
            return std::nullopt;
        forest << node;
    }
    return forest;
}
