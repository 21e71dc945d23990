/// Late-bound calls, as scripts make them: a string list beside Scripting.Dictionary.
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "bench/automation.h"
#include "bench/measure.h"

namespace bench {

namespace {

/// A class of collections of strings.
struct Collection {
    const wchar_t* progId;
    /// The arguments that add string `i`.
    Arguments (*adding)(std::size_t i);
    /// Those that get it.
    Arguments (*getting)(std::size_t i);
};

/// The string with number `i`: 11 characters, different for each.
_variant_t Text(std::size_t i) {
    wchar_t text[12];
    std::swprintf(text, std::size(text), L"%011u", static_cast<unsigned int>(i));
    return text;
}

const Collection list = {
    L"Nuvolex.NXStringList",
    [](std::size_t i) { return Arguments{Text(i)}; },
    [](std::size_t i) { return Arguments{static_cast<long>(i)}; },
};
/// Each string is its own key. (Wine's dictionary takes some whole numbers for equal, so they are no keys for it.)
const Collection dictionary = {
    L"Scripting.Dictionary",
    [](std::size_t i) {
        return Arguments{Text(i), Text(i)};
    },
    [](std::size_t i) { return Arguments{Text(i)}; },
};

std::vector<Arguments> ArgumentsOfAdding(const Collection& collection, std::size_t count) {
    std::vector<Arguments> all;
    for (std::size_t i = 0; i < count; ++i) {
        all.push_back(collection.adding(i));
    }
    return all;
}

void Fill(const CComPtr<IDispatch>& object, std::vector<Arguments>& strings) {
    const Call add(object, L"Add", DISPATCH_METHOD);
    for (Arguments& arguments : strings) {
        add(arguments);
    }
}

CComPtr<IDispatch> Filled(const Collection& collection, std::size_t count) {
    auto object = Create(collection.progId);
    auto strings = ArgumentsOfAdding(collection, count);
    Fill(object, strings);
    return object;
}

void CheckCount(const CComPtr<IDispatch>& object, std::size_t count) {
    Check(AreEqual(Call(object, L"Count", valueFlags).Value(), static_cast<long>(count)));
}

/// `calls` reads of a value, each with the next of the argument lists.
Round Read(const Call& read, std::vector<Arguments> arguments, std::size_t calls) {
    return [read, calls, arguments = std::move(arguments)]() mutable {
        return Time([&] {
            auto next = arguments.begin();
            for (std::size_t i = 0; i < calls; ++i) {
                VARIANT value;
                VariantInit(&value);
                read(*next, &value);
                VariantClear(&value);
                next = next + 1 == arguments.end() ? arguments.begin() : next + 1;
            }
        });
    };
}

constexpr std::size_t fewStrings = 100;

Side Count(const Collection& collection) {
    return [collection](std::size_t calls) {
        const auto object = Filled(collection, fewStrings);
        CheckCount(object, fewStrings);
        return Read({object, L"Count", valueFlags}, {Arguments()}, calls);
    };
}

Side Item(const Collection& collection) {
    return [collection](std::size_t calls) {
        const Call item(Filled(collection, fewStrings), L"Item", valueFlags);
        std::vector<Arguments> arguments;
        for (std::size_t i = 0; i < fewStrings; ++i) {
            arguments.push_back(collection.getting(i));
            Check(AreEqual(item.Value(arguments.back()), Text(i)));
        }
        return Read(item, std::move(arguments), calls);
    };
}

Side GetIDsOfNames(const Collection& collection) {
    return [collection](std::size_t calls) {
        return [object = Create(collection.progId), calls] {
            constexpr std::array names = {L"Add", L"Count", L"Item"};
            return Time([&] {
                for (std::size_t i = 0; i < calls; ++i) {
                    Check(IdOf(object, names[i % names.size()]) != DISPID_UNKNOWN);
                }
            });
        };
    };
}

Side Add(const Collection& collection) {
    return [collection](std::size_t count) {
        return [collection, count, strings = ArgumentsOfAdding(collection, count)]() mutable {
            const auto object = Create(collection.progId);
            const Nanoseconds time = Time([&] { Fill(object, strings); });
            CheckCount(object, count);
            return time;
        };
    };
}

Side Enumerate(const Collection& collection, std::size_t batch) {
    return [collection, batch](std::size_t count) {
        return [object = Filled(collection, count), batch, count] {
            std::size_t walked = 0;
            const Nanoseconds time = Time([&] { walked = Walk(object, batch); });
            Check(walked == count);
            return time;
        };
    };
}

} // namespace

std::vector<Case> LateBoundCases() {
    constexpr std::size_t calls = 10'000;
    constexpr std::size_t many = 100'000;
    return {
        {"list.Count", "Dictionary.Count", Count(list), Count(dictionary), 0.45, calls},
        {"list.Item", "Dictionary.Item by key", Item(list), Item(dictionary), 0.50, calls},
        {"list.GetIDsOfNames", "the Dictionary's", GetIDsOfNames(list), GetIDsOfNames(dictionary), 0.15, calls},
        {"list.Add", "Dictionary.Add", Add(list), Add(dictionary), 0.20, many},
        {"list.Next(1)", "the Dictionary's enumerator of keys", Enumerate(list, 1), Enumerate(dictionary, 1), 1.0,
         many},
        {"list.Next(100)", "likewise", Enumerate(list, 100), Enumerate(dictionary, 100), 1.0, many},
    };
}

} // namespace bench
