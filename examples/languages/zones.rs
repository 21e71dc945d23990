// Rust: the time zones that ten countries or more share. The same program as the others in this folder, late-bound: the
// upper part wraps IDispatch, the lower part is the program. As src/main.rs of a project:
//
//     cargo add winapi@0.3 --features combaseapi,objbase,oaidl,oleauto,unknwnbase,winerror,wtypes
//     cargo run -- ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.
#![allow(non_snake_case)] // the interface below has the names that it has elsewhere

use std::{env, fmt, mem, process, ptr, slice};
use winapi::shared::winerror::{FAILED, HRESULT, S_OK};
use winapi::shared::wtypes::{BSTR, VT_BOOL, VT_BSTR, VT_DISPATCH, VT_I4, VT_INT};
use winapi::shared::wtypesbase::CLSCTX_INPROC_SERVER;
use winapi::um::combaseapi::{CLSIDFromProgID, CoCreateInstance, CoUninitialize};
use winapi::um::oaidl::{IDispatch, DISPPARAMS, EXCEPINFO, VARIANT};
use winapi::um::oleauto::{SysAllocString, SysFreeString, SysStringLen, VariantClear};
use winapi::um::oleauto::{DISPATCH_METHOD, DISPATCH_PROPERTYGET, DISPATCH_PROPERTYPUT};
use winapi::um::unknwnbase::{IUnknown, IUnknownVtbl};
use winapi::{um::objbase::CoInitialize, Interface, RIDL};

RIDL! {#[uuid(0x00020404, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)]
interface IEnumVARIANT(IEnumVARIANTVtbl): IUnknown(IUnknownVtbl) {
    fn Next(count: u32, elements: *mut VARIANT, fetched: *mut u32,) -> HRESULT,
}}

const DISPID_PROPERTYPUT: i32 = -3;

#[derive(Debug)]
struct Error {
    number: HRESULT,
    text: String,
}

type Result<T> = std::result::Result<T, Error>;

fn check(number: HRESULT, text: &str) -> Result<()> {
    if FAILED(number) { Err(Error { number, text: text.to_string() }) } else { Ok(()) }
}

fn wide(text: &str) -> Vec<u16> {
    text.encode_utf16().chain(Some(0)).collect()
}

/// Takes a string over from the call that returned it. A null one has length zero.
unsafe fn take_string(string: BSTR) -> String {
    let length = SysStringLen(string) as usize;
    let units = if length == 0 { &[] } else { slice::from_raw_parts(string, length) };
    let text = String::from_utf16_lossy(units);
    SysFreeString(string);
    text
}

/// What goes into a call, or comes out of it.
enum Value {
    Other,
    Flag(bool),
    Number(i32),
    Text(String),
    Object(Object),
}

impl Value {
    /// A VARIANT that the caller has to clear.
    unsafe fn to_variant(&self) -> VARIANT {
        let mut variant: VARIANT = mem::zeroed();
        let content = variant.n1.n2_mut();
        match self {
            Value::Flag(flag) => {
                content.vt = VT_BOOL as u16;
                *content.n3.boolVal_mut() = -i16::from(*flag);
            }
            Value::Number(number) => {
                content.vt = VT_I4 as u16;
                *content.n3.lVal_mut() = *number;
            }
            Value::Text(text) => {
                content.vt = VT_BSTR as u16;
                *content.n3.bstrVal_mut() = SysAllocString(wide(text).as_ptr());
            }
            _ => panic!("no such argument is needed here"),
        }
        variant
    }

    /// Takes over what a call returned.
    unsafe fn take(mut variant: VARIANT) -> Value {
        let content = variant.n1.n2();
        match content.vt.into() {
            VT_BOOL => Value::Flag(*content.n3.boolVal() != 0),
            VT_I4 | VT_INT => Value::Number(*content.n3.lVal()),
            VT_BSTR => Value::Text(take_string(*content.n3.bstrVal())),
            VT_DISPATCH => Value::Object(Object(*content.n3.pdispVal())),
            _ => {
                VariantClear(&mut variant);
                Value::Other
            }
        }
    }

    fn flag(&self) -> bool {
        matches!(self, Value::Flag(true))
    }

    fn number(&self) -> i32 {
        if let Value::Number(number) = self { *number } else { panic!("not a number") }
    }

    fn object(self) -> Object {
        if let Value::Object(object) = self { object } else { panic!("not an object") }
    }
}

impl fmt::Display for Value {
    fn fmt(&self, out: &mut fmt::Formatter) -> fmt::Result {
        match self {
            Value::Number(number) => write!(out, "{number}"),
            Value::Text(text) => write!(out, "{text}"),
            _ => Ok(()),
        }
    }
}

impl From<bool> for Value {
    fn from(flag: bool) -> Value { Value::Flag(flag) }
}

impl From<i32> for Value {
    fn from(number: i32) -> Value { Value::Number(number) }
}

impl From<&str> for Value {
    fn from(text: &str) -> Value { Value::Text(text.to_string()) }
}

/// An object, with a reference of its own.
struct Object(*mut IDispatch);

impl Drop for Object {
    fn drop(&mut self) {
        unsafe { (*self.0).Release() };
    }
}

impl Object {
    fn create(class: &str) -> Result<Object> {
        unsafe {
            let mut id = mem::zeroed();
            let mut object = ptr::null_mut();
            check(CLSIDFromProgID(wide(class).as_ptr(), &mut id), class)?;
            let none = ptr::null_mut();
            check(CoCreateInstance(&id, none, CLSCTX_INPROC_SERVER, &IDispatch::uuidof(), &mut object), class)?;
            Ok(Object(object.cast()))
        }
    }

    unsafe fn invoke(&self, member: &str, flags: u16, arguments: &[Value]) -> Result<VARIANT> {
        let mut id = 0;
        let none = mem::zeroed();
        let mut put = DISPID_PROPERTYPUT;
        check((*self.0).GetIDsOfNames(&none, &mut wide(member).as_mut_ptr(), 1, 0, &mut id), member)?;
        let mut variants: Vec<VARIANT> = arguments.iter().rev().map(|value| value.to_variant()).collect();
        let is_put = flags & DISPATCH_PROPERTYPUT != 0;
        let mut parameters = DISPPARAMS {
            rgvarg: variants.as_mut_ptr(),
            rgdispidNamedArgs: if is_put { &mut put } else { ptr::null_mut() },
            cArgs: variants.len() as u32,
            cNamedArgs: is_put.into(),
        };
        let mut result: VARIANT = mem::zeroed();
        let mut error: EXCEPINFO = mem::zeroed();
        let hr = (*self.0).Invoke(id, &none, 0, flags, &mut parameters, &mut result, &mut error, ptr::null_mut());
        variants.iter_mut().for_each(|variant| { VariantClear(variant); });
        SysFreeString(error.bstrSource);
        SysFreeString(error.bstrHelpFile);
        let text = take_string(error.bstrDescription);
        check(if error.scode != 0 { error.scode } else { hr }, &text)?;
        Ok(result)
    }

    /// Calls a method, or reads a property.
    fn call(&self, member: &str, arguments: &[Value]) -> Result<Value> {
        unsafe { Ok(Value::take(self.invoke(member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, arguments)?)) }
    }

    fn put(&self, property: &str, value: Value) -> Result<()> {
        unsafe { self.invoke(property, DISPATCH_PROPERTYPUT, &[value]).map(|_| ()) }
    }

    /// Calls `visit` for each element of a collection.
    fn each(&self, mut visit: impl FnMut(Value) -> Result<()>) -> Result<()> {
        unsafe {
            let mut result = self.invoke("_NewEnum", DISPATCH_PROPERTYGET, &[])?;
            let unknown = *result.n1.n2().n3.punkVal();
            let mut walk = ptr::null_mut();
            let found = (*unknown).QueryInterface(&IEnumVARIANT::uuidof(), &mut walk);
            VariantClear(&mut result);
            check(found, "IEnumVARIANT")?;
            let walk: *mut IEnumVARIANT = walk.cast();
            let mut status = Ok(());
            let mut element: VARIANT = mem::zeroed();
            while status.is_ok() && (*walk).Next(1, &mut element, ptr::null_mut()) == S_OK {
                status = visit(Value::take(mem::replace(&mut element, mem::zeroed())));
            }
            (*walk).Release();
            status
        }
    }
}

// The program.

const MANY: i32 = 10;

fn run(table: &str, new_file: &str) -> Result<()> {
    // Read: one row a line, split at tabs.
    let file = Object::create("Nuvolex.NXFileStream")?;
    if !file.call("Open", &[table.into(), false.into()])?.flag() {
        println!("cannot open {table}");
        process::exit(1);
    }
    let rows = Object::create("Nuvolex.NXTokenStringList")?;
    while !file.call("IsEOF", &[])?.flag() {
        let line = file.call("ReadNextLine", &[])?.to_string();
        // A comment begins with "#", or is empty like the line after the last line end.
        if !file.call("IsCommentLine", &[line.as_str().into()])?.flag() {
            let row = rows.call("AddNew", &[])?.object(); // a new token string, which is in the list already
            row.put("Separator", "\t".into())?;
            row.put("Value", line.as_str().into())?;
        }
    }

    // Split the first column at commas, and collect the names in the third.
    let codes = Object::create("Nuvolex.NXTokenString")?;
    codes.put("Separator", ",".into())?;
    let names = Object::create("Nuvolex.NXStringList")?;
    rows.each(|row| {
        let row = row.object();
        codes.put("Value", row.call("Token", &[0.into()])?)?;
        if codes.call("Count", &[])?.number() >= MANY {
            names.call("Add", &[row.call("Token", &[2.into()])?])?;
        }
        Ok(())
    })?;
    let (count, all) = (names.call("Count", &[])?, rows.call("Count", &[])?);
    println!("{count} of {all} zones are shared by {MANY} countries or more:");
    names.each(|name| Ok(println!("  {name}")))?;

    // A variant collection holds values of any type.
    let facts = Object::create("Nuvolex.NXVariantCollection")?;
    facts.call("Add", &[all])?;
    facts.call("Add", &[names.call("Item", &[0.into()])?])?;
    facts.each(|fact| Ok(println!("fact: {fact}")))?;

    // Indices count from 0, so this one is one too large.
    if let Err(error) = names.call("Item", &[count]) {
        println!("error 0x{:x}: {}", error.number, error.text);
    }

    // Write: Open opens existing files only, Clear creates one (or empties it).
    if !file.call("Open", &[new_file.into(), false.into()])?.flag() {
        println!("a new file");
    }
    file.call("Clear", &[])?;
    file.call("Open", &[new_file.into(), false.into()])?;
    let mut written = 0;
    names.each(|name| Ok(written += i32::from(file.call("WriteLine", &[name])?.flag())))?;

    // Read back. The extra empty line after the last line end is not counted.
    file.call("Open", &[new_file.into(), false.into()])?;
    let mut found = 0;
    while !file.call("IsEOF", &[])?.flag() {
        found += i32::from(!file.call("ReadNextLine", &[])?.to_string().is_empty());
    }
    file.call("Close", &[])?;
    println!("{written} lines written, {found} read back");
    Ok(())
}

fn main() {
    let arguments: Vec<String> = env::args().collect();
    unsafe { CoInitialize(ptr::null_mut()) };
    let result = run(&arguments[1], &arguments[2]);
    unsafe { CoUninitialize() };
    if let Err(error) = result {
        println!("failed: 0x{:x} {}", error.number, error.text);
        process::exit(1);
    }
}
