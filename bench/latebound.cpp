/// Late-bound calls, as from scripts: a string list against Scripting.Dictionary.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include "bench/automation.h"
#include "bench/measure.h"

namespace bench {

namespace {

/// A collection class for strings.
struct Collection {
    const wchar_t* progId;
    /// The arguments that add string `i`.
    Arguments (*adding)(std::size_t i);
    /// The arguments that read it.
    Arguments (*getting)(std::size_t i);
};

/// String number `i`: 11 characters, all different.
_variant_t Text(std::size_t i) {
    wchar_t text[12];
    std::swprintf(text, std::size(text), L"%011u", static_cast<unsigned int>(i));
    return text;
}

const Collection ourList = {
    L"Nuvolex.NXStringList",
    [](std::size_t i) { return Arguments{Text(i)}; },
    [](std::size_t i) { return Arguments{static_cast<long>(i)}; },
};
/// Each string is its own key. (Wine's dictionary considers some different integers equal, so they cannot be keys.)
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

/// Reads a value `calls` times, with each of the argument lists in turn.
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

/// Reads the second string of a list by an index of any type.
Side ItemAt(const _variant_t& index) {
    return [index](std::size_t calls) {
        const Call item(Filled(ourList, fewStrings), L"Item", valueFlags);
        const Arguments arguments = {index};
        Check(AreEqual(item.Value(arguments), Text(1)));
        return Read(item, {arguments}, calls);
    };
}

/// Adds a value of any type to a new list repeatedly; the list stores it as this string.
Side AddOf(const _variant_t& value, const _variant_t& string) {
    return [=](std::size_t count) {
        return [=] {
            const auto object = Create(ourList.progId);
            const Call add(object, L"Add", DISPATCH_METHOD);
            Arguments arguments = {value};
            const Nanoseconds time = Time([&] {
                for (std::size_t i = 0; i < count; ++i) {
                    add(arguments);
                }
            });
            CheckCount(object, count);
            Check(AreEqual(Call(object, L"Item", valueFlags).Value({static_cast<long>(count - 1)}), string));
            return time;
        };
    };
}

/// Converts a value with VariantChangeTypeEx to the type of `expected`, repeatedly into the same variable.
Side Convert(const _variant_t& value, const _variant_t& expected) {
    return [=](std::size_t count) {
        return [=] {
            const LCID locale = GetUserDefaultLCID();
            _variant_t source = value;
            _variant_t converted;
            const Nanoseconds time = Time([&] {
                for (std::size_t i = 0; i < count; ++i) {
                    Check(VariantChangeTypeEx(&converted, &source, locale, 0, V_VT(&expected)));
                }
            });
            Check(AreEqual(converted, expected)); // also the types
            return time;
        };
    };
}

/// The time of `one` plus `factor` times the time of `other`; each round measures both.
Side Sum(const Side& one, double factor, const Side& other) {
    return [=](std::size_t elements) {
        return [factor, one = one(elements), other = other(elements)] {
            const Nanoseconds time = one();
            return time + factor * other();
        };
    };
}

/// A call that must convert its argument, against the same call without conversion plus 1.5 times the conversion alone;
/// then the time that the conversion adds to the call, against the conversion alone.
std::vector<Case> ConversionCases() {
    constexpr std::size_t calls = 10'000;
    const Side item = ItemAt(1.0);
    const Side directItem = ItemAt(1L);
    const Side toIndex = Convert(1.0, 1L);
    const Side add = AddOf(42L, L"42");
    const Side directAdd = AddOf(L"42", L"42");
    const Side toText = Convert(42L, L"42");
    return {
        {"list.Item(1.0)", "Item(1) + 1.5 * VariantChangeTypeEx", item, Sum(directItem, 1.5, toIndex), 1.0, calls},
        {"list.Item(1.0)-Item", "VariantChangeTypeEx; ours: Item(1.0) - Item(1)", Sum(item, -1, directItem), toIndex,
         std::nullopt, calls},
        {"list.Add(42)", "Add(text) + 1.5 * VariantChangeTypeEx", add, Sum(directAdd, 1.5, toText), 1.0, calls},
        {"list.Add(42)-Add", "VariantChangeTypeEx; ours: Add(42) - Add(text)", Sum(add, -1, directAdd), toText,
         std::nullopt, calls},
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
    std::vector<Case> cases = {
        {"list.Count", "Dictionary.Count", Count(ourList), Count(dictionary), 0.12, calls},
        {"list.Item", "Dictionary.Item by key", Item(ourList), Item(dictionary), 0.30, calls},
        {"list.GetIDsOfNames", "the Dictionary's", GetIDsOfNames(ourList), GetIDsOfNames(dictionary), 0.04, calls},
        {"list.Add", "Dictionary.Add", Add(ourList), Add(dictionary), 0.20, many},
        {"list.Next(1)", "the Dictionary's enumerator of keys", Enumerate(ourList, 1), Enumerate(dictionary, 1), 0.97,
         many},
        {"list.Next(100)", "likewise", Enumerate(ourList, 100), Enumerate(dictionary, 100), 1.0, many},
    };
    std::ranges::copy(ConversionCases(), std::back_inserter(cases));
    return cases;
}

} // namespace bench
