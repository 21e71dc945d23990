// Node.js: the time zones that ten countries or more share. The same program as the others in this folder, late-bound:
// the package koffi calls functions of the system; the upper part wraps IDispatch, the lower part is the program.
//
//     npm install koffi@2
//     node zones.mjs ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.
import koffi from "koffi";

const ole32 = koffi.load("ole32.dll");
const CoInitialize = ole32.func("int32_t CoInitialize(void *)");
const CLSIDFromProgID = ole32.func("int32_t CLSIDFromProgID(str16, void *)");
const CoCreateInstance = ole32.func("int32_t CoCreateInstance(void *, void *, uint32_t, void *, void *)");
const oleaut32 = koffi.load("oleaut32.dll");
const SysAllocString = oleaut32.func("intptr_t SysAllocString(str16)");
const SysStringLen = oleaut32.func("uint32_t SysStringLen(void *)");
const SysFreeString = oleaut32.func("void SysFreeString(void *)");
const VariantClear = oleaut32.func("int32_t VariantClear(void *)");

// The methods that are called through a vtable: slot and type.
const method = (slot, declaration) => ({ slot, type: koffi.proto(declaration) });
const QueryInterface = method(0, "int32_t QueryInterface(void *, void *, void *)");
const Release = method(2, "uint32_t Release(void *)");
const Next = method(3, "int32_t Next(void *, uint32_t, void *, void *)");
const GetIDsOfNames = method(5, "int32_t GetIDsOfNames(void *, void *, str16 *, uint32_t, uint32_t, void *)");
koffi.struct("DISPPARAMS", { values: "void *", names: "void *", count: "uint32_t", named: "uint32_t" });
const Invoke = method(6,
    "int32_t Invoke(void *, int32_t, void *, uint32_t, uint16_t, DISPPARAMS *, void *, void *, void *)");

const NO_ID = Buffer.alloc(16);
const IID_IDispatch = Buffer.from("0004020000000000c000000000000046", "hex");
const IID_IEnumVARIANT = Buffer.from("0404020000000000c000000000000046", "hex");
const PUT = Int32Array.of(-3); // DISPID_PROPERTYPUT
const [METHOD, PROPERTYGET, PROPERTYPUT] = [1, 2, 4];
const [VT_I4, VT_BSTR, VT_DISPATCH, VT_BOOL, VT_UNKNOWN, VT_INT] = [3, 8, 9, 11, 13, 22];

const pointerAt = (memory, offset) => koffi.decode(memory, offset, "void *");

// Calls a method of an interface.
function invoke(pointer, { slot, type }, ...values) {
    return koffi.call(pointerAt(pointerAt(pointer, 0), slot * 8), type, pointer, ...values);
}

function check(number, text) {
    if (number < 0) {
        throw Object.assign(new Error(text), { number });
    }
}

// Takes over a string that a call returned; null is an empty one.
function takeString(pointer) {
    const length = SysStringLen(pointer);
    const text = length > 0 ? koffi.decode(pointer, "char16_t", length) : "";
    SysFreeString(pointer);
    return text;
}

// Writes a value into a VARIANT, which has to be cleared.
function writeVariant(variant, value) {
    if (typeof value === "string") {
        variant.writeUInt16LE(VT_BSTR);
        variant.writeBigInt64LE(BigInt(SysAllocString(value)), 8);
    } else if (typeof value === "boolean") {
        variant.writeUInt16LE(VT_BOOL);
        variant.writeInt16LE(value ? -1 : 0, 8);
    } else {
        variant.writeUInt16LE(VT_I4);
        variant.writeInt32LE(value, 8);
    }
}

// Takes over what a VARIANT holds.
function takeVariant(variant) {
    switch (variant.readUInt16LE()) {
    case VT_I4:
    case VT_INT:
        return variant.readInt32LE(8);
    case VT_BOOL:
        return variant.readInt16LE(8) !== 0;
    case VT_BSTR:
        return takeString(pointerAt(variant, 8));
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return new Automation(pointerAt(variant, 8));
    default:
        VariantClear(variant);
        return undefined;
    }
}

// An object, with a reference of its own. That is released some time after the program has dropped the object.
class Automation {
    static released = new FinalizationRegistry((pointer) => invoke(pointer, Release));

    constructor(pointer) {
        this.pointer = pointer;
        Automation.released.register(this, pointer);
    }

    static create(className) {
        const id = Buffer.alloc(16);
        const out = Buffer.alloc(8);
        check(CLSIDFromProgID(className, id), className);
        check(CoCreateInstance(id, null, 1, IID_IDispatch, out), className); // 1: CLSCTX_INPROC_SERVER
        return new Automation(pointerAt(out, 0));
    }

    invoke(flags, member, values) {
        const id = Buffer.alloc(4);
        check(invoke(this.pointer, GetIDsOfNames, NO_ID, [member], 1, 0, id), member);
        const variants = Buffer.alloc(24 * values.length); // the last argument comes first
        [...values].reverse().forEach((value, i) => writeVariant(variants.subarray(24 * i), value));
        const result = Buffer.alloc(24);
        const error = Buffer.alloc(64); // EXCEPINFO
        const isPut = flags === PROPERTYPUT;
        const parameters = { values: variants, names: isPut ? PUT : null, count: values.length, named: isPut ? 1 : 0 };
        const status = invoke(this.pointer, Invoke, id.readInt32LE(), NO_ID, 0, flags, parameters, result, error, null);
        values.forEach((_, i) => VariantClear(variants.subarray(24 * i)));
        const [, text] = [8, 16, 24].map((offset) => takeString(pointerAt(error, offset))); // source, description, help file
        check(error.readInt32LE(56) || status, text);
        return takeVariant(result);
    }

    // Calls a method, or reads a property.
    call(member, ...values) { return this.invoke(METHOD | PROPERTYGET, member, values); }

    put(property, value) { this.invoke(PROPERTYPUT, property, [value]); }

    // Walks a collection: for (const element of object)
    *[Symbol.iterator]() {
        const out = Buffer.alloc(8);
        check(invoke(this.call("_NewEnum").pointer, QueryInterface, IID_IEnumVARIANT, out), "IEnumVARIANT");
        const walk = new Automation(pointerAt(out, 0));
        for (const element = Buffer.alloc(24); invoke(walk.pointer, Next, 1, element, null) === 0; element.fill(0)) {
            yield takeVariant(element);
        }
    }
}

// The program.

const MANY = 10;
const [, , table, newFile] = process.argv;
CoInitialize(null);

// Read: one row a line, split at tabs.
const file = Automation.create("Nuvolex.NXFileStream");
if (!file.call("Open", table, false)) {
    console.log(`cannot open ${table}`);
    process.exit(1);
}
const rows = Automation.create("Nuvolex.NXTokenStringList");
while (!file.call("IsEOF")) {
    const line = file.call("ReadNextLine");
    if (!file.call("IsCommentLine", line)) { // begins with "#", or is empty like the one after the last line end
        const row = rows.call("AddNew"); // a new token string, which is in the list already
        row.put("Separator", "\t");
        row.put("Value", line);
    }
}

// Split the first column at commas, and collect the names in the third.
const codes = Automation.create("Nuvolex.NXTokenString");
codes.put("Separator", ",");
const names = Automation.create("Nuvolex.NXStringList");
for (const row of rows) {
    codes.put("Value", row.call("Token", 0));
    if (codes.call("Count") >= MANY) {
        names.call("Add", row.call("Token", 2));
    }
}
console.log(`${names.call("Count")} of ${rows.call("Count")} zones are shared by ${MANY} countries or more:`);
for (const name of names) {
    console.log(`  ${name}`);
}

// A variant collection holds values of any type.
const facts = Automation.create("Nuvolex.NXVariantCollection");
facts.call("Add", rows.call("Count"));
facts.call("Add", names.call("Item", 0));
for (const fact of facts) {
    console.log(`fact: ${fact}`);
}

// Indices count from 0, so this one is one too large. An error's number is negative; >>> 0 makes it unsigned.
try {
    names.call("Item", names.call("Count"));
} catch (error) {
    console.log(`error 0x${(error.number >>> 0).toString(16)}: ${error.message}`);
}

// Write: Open opens existing files only, Clear creates one (or empties it).
if (!file.call("Open", newFile, false)) {
    console.log("a new file");
}
file.call("Clear");
file.call("Open", newFile, false);
let written = 0;
for (const name of names) {
    written += file.call("WriteLine", name) ? 1 : 0;
}

// Read back. The extra empty line after the last line end is not counted.
file.call("Open", newFile, false);
let found = 0;
while (!file.call("IsEOF")) {
    found += file.call("ReadNextLine") !== "" ? 1 : 0;
}
file.call("Close");
console.log(`${written} lines written, ${found} read back`);
