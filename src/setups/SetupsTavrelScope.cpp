#include "setups/SetupsTavrelScope.h"

#include "base/Diagnostics.h"
#include "base/PropertyBag.h"
#include "base/PropertySteps.h"
#include "setups/SetupSupport.h"

#include <QDir>
#include <algorithm>
#include <limits>

using namespace SetupSupport;

namespace {

const char* const kClass = "Setups";
const QString kClassName = QString::fromLatin1(kClass);

const QString kInitialDirectoryKey = QStringLiteral("SetupsInitialDirectory");
const QString kGetLearnStringOnAddKey = QStringLiteral("SetupsGetLearnStringOnAdd");
const QString kLastInstrumentSetupKey = QStringLiteral("LastInstrumentSetup");
const QString kSetupCountKey = QStringLiteral("SetupCount");

} // namespace

SetupsTavrelScope::SetupsTavrelScope() : m_strInitialDirectory(QDir::currentPath()) {}

SetupsTavrelScope::~SetupsTavrelScope() = default;

SetupsTavrelScope::Entries::const_iterator SetupsTavrelScope::find(const QString& name) const {
    if (!m_keys.contains(name.toCaseFolded())) return m_entries.cend();
    return std::find_if(m_entries.cbegin(), m_entries.cend(), [&](const Entry& entry) {
        return entry.key.compare(name, Qt::CaseInsensitive) == 0;
    });
}

SetupsTavrelScope::Entries::const_iterator SetupsTavrelScope::at(int position) const {
    if (position < 1 || position > Count()) throw SubscriptOutOfRangeError();
    return m_entries.cbegin() + (position - 1);
}

void SetupsTavrelScope::erase(Entries::const_iterator it) {
    m_keys.remove(it->key.toCaseFolded());
    m_entries.erase(it);
}

SetupTavrelScope& SetupsTavrelScope::Add(const QString& name) {
    return Reported(kClass, "Add", [&]() -> SetupTavrelScope& {
        if (name.isEmpty() || name.contains(u' ') || name.contains(u'|')) {
            ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("Add"));
            throw InvalidPropertyValueError();
        }
        if (find(name) != m_entries.cend()) throw DuplicateKeyError();
        auto setup = std::make_unique<SetupTavrelScope>();
        setup->SetName(name);
        setup->SetParentSetups(this);
        m_entries.push_back({name, std::move(setup)});
        m_keys.insert(name.toCaseFolded());
        return *m_entries.back().setup;
    });
}

SetupTavrelScope& SetupsTavrelScope::Item(int position) const {
    return Reported(kClass, "Item", [&]() -> SetupTavrelScope& { return *at(position)->setup; });
}

SetupTavrelScope& SetupsTavrelScope::Item(const QString& name) const {
    return Reported(kClass, "Item", [&]() -> SetupTavrelScope& {
        const auto it = find(name);
        if (it == m_entries.cend()) throw InvalidProcedureCallError();
        return *it->setup;
    });
}

void SetupsTavrelScope::Remove(int position) {
    Reported(kClass, "Remove", [&] { erase(at(position)); });
}

void SetupsTavrelScope::Remove(const QString& name) {
    Reported(kClass, "Remove", [&] {
        const auto it = find(name);
        if (it == m_entries.cend()) throw InvalidProcedureCallError();
        erase(it);
        if (name == m_strLastInstrumentSetup) m_strLastInstrumentSetup.clear();
    });
}

QList<SetupTavrelScope*> SetupsTavrelScope::Setups() const {
    QList<SetupTavrelScope*> setups;
    for (const Entry& entry : m_entries)
        setups.append(entry.setup.get());
    return setups;
}

void SetupsTavrelScope::ReadProperties(PropertyBag& bag) {
    // A refused setting does not keep the setups from being read.
    PropertySteps steps(bag, kClassName, QStringLiteral("ReadProperties"));
    PropertyBag& store = steps.store();
    steps([&] { m_strInitialDirectory = store.read(kInitialDirectoryKey, QString()).toString(); });
    steps([&] { m_bGetLearnStringOnAdd = store.read(kGetLearnStringOnAddKey, true).toBool(); });
    steps([&] { m_strLastInstrumentSetup = store.read(kLastInstrumentSetupKey, QString()).toString(); });
    steps([&] {
        // The count is taken as stored, whatever its width; the store refuses only what no 32-bit
        // integer holds.
        const qint32 count = store.read(kSetupCountKey, qint32(0)).toInt();
        SetupTavrelScope scratch;
        for (qint32 index = 1; index <= count; ++index) {
            scratch.ReadProperties(store, index);
            try {
                SetupTavrelScope& setup = Add(scratch.Name());
                setup.Copy(&scratch);
                setup.SetParentSetups(this);
            } catch (TavrelError& error) {
                if (error.detail().isEmpty())
                    error.withDetail(QStringLiteral("%1: \"%2SetupName\": the setup name \"%3\" is refused.")
                                         .arg(store.origin())
                                         .arg(index)
                                         .arg(scratch.Name()));
                throw;
            }
            if (index == std::numeric_limits<qint32>::max()) break;
        }
    });
    steps.finish();
}

void SetupsTavrelScope::WriteProperties(PropertyBag& bag) const {
    Reported(kClass, "WriteProperties", [&] {
        bag.write(kInitialDirectoryKey, m_strInitialDirectory, QString());
        bag.write(kGetLearnStringOnAddKey, m_bGetLearnStringOnAdd, true);
        bag.write(kLastInstrumentSetupKey, m_strLastInstrumentSetup, QString());
        bag.write(kSetupCountKey, Count(), 0);
        int index = 0;
        for (const Entry& entry : m_entries)
            entry.setup->WriteProperties(bag, ++index);
    });
}

void SetupsTavrelScope::Copy(const SetupsTavrelScope* setupsSource) {
    Reported(kClass, "Copy", [&] {
        ReportAssertion(setupsSource != nullptr, QStringLiteral("(Not (setupsSource Is Nothing))"),
                        kClassName, QStringLiteral("Copy"));
        if (!setupsSource) throw ObjectNotSetError();
        m_strInitialDirectory = setupsSource->InitialDirectory();
        m_bGetLearnStringOnAdd = setupsSource->GetLearnStringOnAdd();
        m_strLastInstrumentSetup = setupsSource->LastInstrumentSetup();
        // Emptying a collection into itself would leave nothing to copy.
        if (setupsSource == this) return;
        for (int i = Count(); i > 0; --i)
            Remove(1);
        ReportAssertion(Count() == 0, QStringLiteral("Me.Count = 0"), kClassName, QStringLiteral("Copy"));
        for (const SetupTavrelScope& source : *setupsSource)
            Add(source.Name()).Copy(&source);
    });
}

SetupInstrument* SetupsTavrelScope::CTavrelEZPtr() const {
    ReportAssertion(m_ctavrelez != nullptr, QStringLiteral("(Not (m_ctavrelez Is Nothing))"), kClassName,
                    QStringLiteral("Get CTavrelEZPtr"));
    return m_ctavrelez;
}

void SetupsTavrelScope::SetCTavrelEZPtr(SetupInstrument* session) {
    m_ctavrelez = session;
    ReportAssertion(m_ctavrelez != nullptr, QStringLiteral("(Not (m_ctavrelez Is Nothing))"), kClassName,
                    QStringLiteral("Let CTavrelEZPtr"));
    for (Entry& entry : m_entries)
        entry.setup->SetParentSetups(this);
}
