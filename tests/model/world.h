/// Objects of the registered DLL and their models: each call is made on both.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include <atlbase.h>

#include "tests/core/textfiles.h"
#include "tests/model/calls.h"
#include "tests/model/variants.h"

namespace model {

constexpr int slotCount = 14;

class World {
  public:
    /// Starts without objects and files. Creates files in `folder`. Only one world may exist at a time.
    explicit World(const support::TemporaryFolder& folder);
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World();

    /// Makes a call and returns the difference between the objects and the model; empty if there is none. Skips a call
    /// that does not fit the state of the world, such as one of an object that does not exist.
    std::string Make(const Call& call);
    /// Releases everything and returns the difference, as Make does. The world must not be used afterwards.
    std::string End();

    /// The number of calls made.
    [[nodiscard]] std::size_t CallsMade() const noexcept { return m_callsMade; }
    /// The object in a slot, or null.
    [[nodiscard]] const Ref& ObjectIn(int slot) const { return m_slots[static_cast<std::size_t>(slot)].model; }

  private:
    struct Slot {
        Ref model;
        CComPtr<IUnknown> real; ///< the class's own interface, or IEnumVARIANT

        [[nodiscard]] IDispatch* Dispatch() const { return static_cast<IDispatch*>(real.p); }
        void Release() {
            real.Release(); // first: it may refer to what the model lends
            model.reset();
        }
    };

    /// An argument of a late-bound call, and the variables for passing it.
    struct Packed {
        Variant value;
        VARIANT middle = {};
        VARIANT sent = {};
    };

    /// The result of a late-bound call by the rules, before it reaches its member.
    struct Expectation {
        HRESULT hr = S_OK;
        int badParameter = -1;
        Arguments arguments = {};
    };

    Slot& SlotOf(int slot) { return m_slots[static_cast<std::size_t>(slot)]; }
    std::string MakeAny(const Call& call);
    static HRESULT CreateReal(const Call& call, IUnknown** object);
    std::string Create(const Call& call);
    std::string CallMember(const Call& call);
    std::string CallVtable(const Call& call, const Arguments& arguments);
    std::string CallLateBound(const Call& call, const Arguments& given);
    std::string CheckError(const Call& call, HRESULT hr, const Outcome& outcome) const;
    std::string CheckException(const Call& call, const EXCEPINFO& info, const Outcome& outcome) const;
    std::string TakeResult(const Call& call, VARIANT& result, const Value& wanted, bool lent);
    std::string CheckNames(const Call& call) const;
    std::string CheckReply(const Call& call, HRESULT hr, VARIANT& result, const EXCEPINFO& info,
                           const Outcome& outcome);
    std::string Next(const Call& call);
    std::string ChangeFile(const Call& call);

    void Pack(const Call& call, std::size_t i, const Value& value, Packed& packed) const;
    static Expectation Expect(const Call& call, const Arguments& given, std::vector<Packed>& packed);

    /// The arguments of the caller. Returns false if an object does not exist.
    bool Resolve(const Call& call, Arguments& arguments);
    [[nodiscard]] ModelCall ToModel(const Call& call, const Arguments& arguments) const;
    /// Whether the model supports the call: a file belongs to one stream at a time, and objects must not form a cycle.
    bool Settled(const Call& call, const Arguments& arguments) const;
    [[nodiscard]] bool IsFileOpen(int file, const Object* except) const;
    void Keep(int slot, const Ref& model, IUnknown* real);
    std::string Check() const;
    std::string CheckFile(int file) const;

    [[nodiscard]] Text NameOfFile(int name) const;
    [[nodiscard]] std::wstring PathOf(int file) const;
    Ref MakeStream();

    const support::TemporaryFolder& m_folder;
    Files m_files = Files(regularFiles);
    std::array<Slot, slotCount> m_slots;
    mutable std::vector<std::weak_ptr<Stream>> m_streams;
    const std::function<Ref()> m_makeStream = [this] { return MakeStream(); };
    std::array<long, 4> m_variables = {7, -1, 65536, 0};
    CComPtr<IErrorInfo> m_earlierError;
    std::string m_complaint;
    std::size_t m_callsMade = 0;
    const bool m_objectsLeftBefore; ///< by an earlier world, which does not matter here
    int m_number = 0;               ///< for names of files
    bool m_ended = false;
};

} // namespace model
