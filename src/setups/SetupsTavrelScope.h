#pragma once

#include "setups/SetupTavrelScope.h"

#include <QList>
#include <QSet>
#include <QString>
#include <iterator>
#include <memory>
#include <vector>

class SetupInstrument;
class PropertyBag;

// The control's setups, keyed by name in the order of adding (keys compare without regard to
// case), with the settings the Setups page keeps between uses. It owns its setups and lends them
// the control's session, which it does not own.
class SetupsTavrelScope {
    struct Entry {
        QString key; // the name the setup was added under
        std::unique_ptr<SetupTavrelScope> setup;
    };
    using Entries = std::vector<Entry>;

public:
    // Walks the setups in order.
    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = SetupTavrelScope;
        using difference_type = std::ptrdiff_t;
        using pointer = SetupTavrelScope*;
        using reference = SetupTavrelScope&;

        const_iterator() = default;
        explicit const_iterator(Entries::const_iterator it) : m_it(it) {}
        reference operator*() const { return *m_it->setup; }
        pointer operator->() const { return m_it->setup.get(); }
        const_iterator& operator++() {
            ++m_it;
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator before = *this;
            ++m_it;
            return before;
        }
        bool operator==(const const_iterator& other) const { return m_it == other.m_it; }

    private:
        Entries::const_iterator m_it;
    };

    // Empty, with the current directory as initial directory and no session.
    SetupsTavrelScope();
    ~SetupsTavrelScope();
    SetupsTavrelScope(const SetupsTavrelScope&) = delete;
    SetupsTavrelScope& operator=(const SetupsTavrelScope&) = delete;

    // A new setup under the name, parented here. An empty name or one with a blank or "|" is the
    // invalid-property error, a name already present the collection's duplicate-key error (457).
    SetupTavrelScope& Add(const QString& name);
    // By 1-based position (9 when out of range) or by name (5 when unknown).
    SetupTavrelScope& Item(int position) const;
    SetupTavrelScope& Item(const QString& name) const;
    int Count() const { return static_cast<int>(m_entries.size()); }
    // As Item; removing by the name LastInstrumentSetup holds (compared with case) clears it, a
    // position never does.
    void Remove(int position);
    void Remove(const QString& name);
    const_iterator begin() const { return const_iterator(m_entries.cbegin()); }
    const_iterator end() const { return const_iterator(m_entries.cend()); }
    QList<SetupTavrelScope*> Setups() const;

    // The settings and the setups under "SetupsInitialDirectory", "SetupsGetLearnStringOnAdd",
    // "LastInstrumentSetup", "SetupCount" and the indexed keys of each setup. Reading adds to the
    // setups already here, and a bad or repeated stored name ends it with the error of Add, its
    // detail naming the store and the key. The count is taken as stored (any 32-bit integer).
    void ReadProperties(PropertyBag& bag);
    void WriteProperties(PropertyBag& bag) const;
    // Takes the source's settings and copies of its setups in place of this one's; not its session.
    void Copy(const SetupsTavrelScope* setupsSource);

    SetupInstrument* CTavrelEZPtr() const;
    // Stores the session and parents every setup here again.
    void SetCTavrelEZPtr(SetupInstrument* session);
    QString InitialDirectory() const { return m_strInitialDirectory; }
    void SetInitialDirectory(const QString& directory) { m_strInitialDirectory = directory; }
    bool GetLearnStringOnAdd() const { return m_bGetLearnStringOnAdd; }
    void SetGetLearnStringOnAdd(bool get) { m_bGetLearnStringOnAdd = get; }
    QString LastInstrumentSetup() const { return m_strLastInstrumentSetup; }
    void SetLastInstrumentSetup(const QString& name) { m_strLastInstrumentSetup = name; }

private:
    Entries::const_iterator find(const QString& name) const;
    Entries::const_iterator at(int position) const;
    void erase(Entries::const_iterator it);

    Entries m_entries;
    // The keys, case-folded: a name is looked for only when it is there, and Add needs no walk.
    QSet<QString> m_keys;
    SetupInstrument* m_ctavrelez = nullptr;
    QString m_strInitialDirectory;
    bool m_bGetLearnStringOnAdd = true;
    QString m_strLastInstrumentSetup;
};
