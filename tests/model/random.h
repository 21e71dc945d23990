/// Random calls of every kind, mostly valid ones.
#pragma once

#include <random>
#include <string>

#include "tests/model/calls.h"
#include "tests/model/world.h"

namespace model {

class RandomCalls {
  public:
    explicit RandomCalls(unsigned seed) : m_random(seed) {}

    /// A call that fits the state of the world.
    Call Next(const World& world);

  private:
    /// A number from 0 to `limit` - 1.
    unsigned Below(std::size_t limit) { return static_cast<unsigned>(m_random() % limit); }
    bool Chance(unsigned one, unsigned in) { return Below(in) < one; }

    Call MemberOf(const World& world, int slot, const Object& object);
    Call EnumeratorCall(int slot);
    Argument AnyArgument(const World& world, const Member& member, std::size_t i, const Object& object);
    Argument AnyValue(const World& world);
    void MakeLateBound(const World& world, Call& call);
    long AnyIndex(std::size_t size);
    Text AnyText();
    Text AnyLine();
    std::string AnyBytes();
    int AnySlot() { return static_cast<int>(Below(slotCount)); }
    int SlotWith(const World& world, Kind kind);

    std::mt19937 m_random;
};

} // namespace model
