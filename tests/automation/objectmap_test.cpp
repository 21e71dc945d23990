// The module object with object maps of the test's own. Those of the DLL are tested in tests/module.

#include <atlcom.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxstring.h"
#include "tests/automation/hresult.h"

namespace {

int registered = 0;
int unregistered = 0;

HRESULT WINAPI CountUpdate(BOOL bRegister) {
    ++(bRegister != FALSE ? registered : unregistered);
    return S_OK;
}

LPCTSTR WINAPI NoDescription() {
    return nullptr;
}

LPCTSTR WINAPI Description() {
    return TEXT("a component");
}

/// A module with one class, in a program that has no type library.
class ObjectMapTest : public ::testing::Test {
  protected:
    ObjectMapTest() { registered = unregistered = 0; }
    ~ObjectMapTest() override { m_module.Term(); }

    CComModule& ModuleOf(_ATL_CREATORFUNC* getClassObject, LPCTSTR(WINAPI* description)()) {
        m_map[0] = {&CLSID_NXString,
                    &CountUpdate,
                    getClassObject,
                    &CNXString::_CreatorClass::CreateInstance,
                    nullptr,
                    description,
                    &CNXString::GetCategoryMap,
                    &CNXString::ObjectMain};
        m_module.Init(m_map, GetModuleHandleW(nullptr), &LIBID_NUVOLEXLib);
        return m_module;
    }

  private:
    _ATL_OBJMAP_ENTRY m_map[2] = {};
    CComModule m_module;
};

TEST_F(ObjectMapTest, ClassWithoutAFactory_IsNotAvailable) {
    void* factory = this;
    EXPECT_HR(ModuleOf(nullptr, &NoDescription).GetClassObject(CLSID_NXString, IID_IClassFactory, &factory),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(factory, nullptr);
}

TEST_F(ObjectMapTest, Class_IsRegisteredAndUnregisteredByItsScript) {
    CComModule& module = ModuleOf(&CNXString::_ClassFactoryCreatorClass::CreateInstance, &NoDescription);
    EXPECT_HR(module.RegisterServer(FALSE), S_OK);
    EXPECT_EQ(registered, 1);
    EXPECT_HR(module.UnregisterServer(FALSE), S_OK);
    EXPECT_EQ(unregistered, 1);
}

TEST_F(ObjectMapTest, ClassWithADescription_IsSkipped) {
    CComModule& module = ModuleOf(&CNXString::_ClassFactoryCreatorClass::CreateInstance, &Description);
    EXPECT_HR(module.RegisterServer(FALSE), S_OK);
    EXPECT_HR(module.UnregisterServer(FALSE), S_OK);
    EXPECT_EQ(registered + unregistered, 0);
}

TEST_F(ObjectMapTest, TypeLibrary_IsLoadedOnlyOnRequest) {
    CComModule& module = ModuleOf(&CNXString::_ClassFactoryCreatorClass::CreateInstance, &NoDescription);
    EXPECT_HR(module.RegisterServer(TRUE), TYPE_E_CANTLOADLIBRARY);
    EXPECT_HR(module.UnregisterServer(TRUE), TYPE_E_CANTLOADLIBRARY);
    EXPECT_HR(module.RegisterServer(FALSE), S_OK);
    EXPECT_HR(module.UnregisterServer(FALSE), S_OK);
}

/// The module registers no categories, so a class must not have any.
TEST(ObjectMapClassTest, Classes_HaveNoCategories) {
    EXPECT_EQ(CNXString::GetCategoryMap(), nullptr);
}

TEST(ObjectMapClassTest, Creators_WithoutAResult_AreRefused) {
    EXPECT_HR(CNXString::_CreatorClass::CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_HR(CNXString::_ClassFactoryCreatorClass::CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_HR(CComObject<CNXString>::CreateInstance(nullptr), E_POINTER);
}

} // namespace
