// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qjmerge_p.h"

#include <QSet>

#include <variant>
#include <vector>

namespace
{
struct DictionaryFrame
{
    QJDictionary receiver;
    QJDictionary other;
    QStringList keys;
    qsizetype next = 0;
};

struct ArrayFrame
{
    QJArray receiver;
    const void *other = nullptr; // identity of the source, for the circle guard
    qsizetype next = 0;
};

// Sends didChangeValueForKey() once the array merge pushed above it has finished.
struct DidChangeFrame
{
    QJDictionary receiver;
    QString key;
};

using Frame = std::variant<DictionaryFrame, ArrayFrame, DidChangeFrame>;

class Merger
{
public:
    void pushDictionary(const QJDictionary &receiver, const QJDictionary &other)
    {
        const void *source = other.identity();
        if (m_active.contains(source))
            return; // the source contains itself: its repetition is left out
        m_active.insert(source);
        m_stack.emplace_back(DictionaryFrame {receiver, other, other.allKeys()});
    }

    void pushArray(QJArray receiver, const QJArray &other)
    {
        receiver.setArray(other);
        const void *source = other.identity();
        if (m_active.contains(source))
            return;
        m_active.insert(source);
        m_stack.emplace_back(ArrayFrame {receiver, source});
    }

    void run()
    {
        while (!m_stack.empty()) {
            Frame &top = m_stack.back();
            if (auto *f = std::get_if<DictionaryFrame>(&top)) {
                if (f->next >= f->keys.size()) {
                    m_active.remove(f->other.identity());
                    m_stack.pop_back();
                } else {
                    stepDictionary(*f);
                }
            } else if (auto *f = std::get_if<ArrayFrame>(&top)) {
                if (f->next >= f->receiver.count()) {
                    m_active.remove(f->other);
                    m_stack.pop_back();
                } else {
                    stepArray(*f);
                }
            } else {
                const DidChangeFrame done = std::get<DidChangeFrame>(std::move(top));
                m_stack.pop_back();
                done.receiver.didChangeValueForKey(done.key);
            }
        }
    }

private:
    // Frames are pushed last in each step: pushing may move the frame that `f` refers to.
    void stepDictionary(DictionaryFrame &f)
    {
        const QString key = f.keys.at(f.next++);
        QJDictionary receiver = f.receiver;
        const QJValue n = f.other.objectForKey(key);
        if (n.isNone())
            return; // removed from the source meanwhile
        QJValue o = receiver.objectForKey(key);

        if ((o.isDictionary() && !o.toDictionary().isMutable()) || (o.isNone() && n.isDictionary())) {
            QJDictionary fresh(QJMutability::Mutable);
            if (o.isDictionary())
                fresh.addEntriesFromDictionary(o.toDictionary());
            receiver.setObject(fresh, key);
            o = fresh;
        }
        if ((o.isArray() && !o.toArray().isMutable()) || (o.isNone() && n.isArray())) {
            QJArray fresh(QJMutability::Mutable);
            if (o.isArray())
                fresh.addObjectsFromArray(o.toArray());
            receiver.setObject(fresh, key);
            o = fresh;
        }

        if (o.isDictionary() && o.toDictionary().isMutable() && n.isDictionary()) {
            pushDictionary(o.toDictionary(), n.toDictionary());
        } else if (o.isArray() && o.toArray().isMutable() && n.isArray()) {
            receiver.willChangeValueForKey(key);
            m_stack.emplace_back(DidChangeFrame {receiver, key});
            pushArray(o.toArray(), n.toArray());
        } else {
            receiver.willChangeValueForKey(key);
            receiver.setObject(n, key);
            receiver.didChangeValueForKey(key);
        }
    }

    void stepArray(ArrayFrame &f)
    {
        const qsizetype i = f.next++;
        QJArray receiver = f.receiver;
        const QJValue e = receiver.at(i);
        if (e.isDictionary() && !e.toDictionary().isMutable()) {
            QJDictionary fresh(QJMutability::Mutable);
            receiver.replace(i, fresh);
            pushDictionary(fresh, e.toDictionary());
        } else if (e.isArray() && !e.toArray().isMutable()) {
            QJArray fresh(QJMutability::Mutable);
            receiver.replace(i, fresh);
            pushArray(fresh, e.toArray());
        }
    }

    std::vector<Frame> m_stack;
    QSet<const void *> m_active; // sources being merged on the current path
};
} // namespace

void QJMerge::mergeArray(const QJArray &receiver, const QJArray &other)
{
    Merger merger;
    merger.pushArray(receiver, other);
    merger.run();
}

void QJMerge::mergeDictionary(const QJDictionary &receiver, const QJDictionary &other)
{
    Merger merger;
    merger.pushDictionary(receiver, other);
    merger.run();
}
