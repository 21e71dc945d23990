' NXStringList in VBScript.
Option Explicit

Dim list, nulls, item, all, i
Set list = CreateObject("Nuvolex.NXStringList")
Equal "kind of object", TypeName(list), "INXStringList"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXStringList.1")), "INXStringList"

' ---- A new object is empty

Equal "count of a new list", list.Count, 0
all = ""
For Each item In list
    all = all & item
Next
Equal "For Each over nothing", all, ""

' ---- Filling

list.Add "first"
list.New = "second"
list.Item(2) = "third"
Equal "count", list.Count, 3
Equal "first", list.Item(0), "first"
Equal "second", list.Item(1), "second"
Equal "third, by the default member", list(2), "third"
Equal "New reads nothing", list.New, ""
Equal "count after New was read", list.Count, 3
list.Item(1) = "2nd"
Equal "a replaced string", list(1), "2nd"

' ---- For Each

all = ""
For Each item In list
    Equal "type of an element", TypeName(item), "String"
    all = all & item & ";"
Next
Equal "For Each", all, "first;2nd;third;"

all = ""
For Each item In list
    If item = "first" Then list.Remove 0
    all = all & item & ";"
Next
Equal "For Each while the list shrinks", all, "first;third;"
list.Item(0) = "first"
list.Item(1) = "2nd"
list.Add "third"

' ---- Removing

list.Remove 0
Equal "count after Remove", list.Count, 2
Equal "later ones move down", list(0), "2nd"
list.Remove list.Count - 1
list.Remove 0
Equal "count of the emptied list", list.Count, 0

' ---- Other types become text

list.Add 42
Equal "a number added", list(0), "42"
list.Add "ab" & Chr(0) & "cd"
Equal "a string ends at a NUL", list(1), "ab"
list.Add ""
Equal "an empty string", list(2), ""

' ---- A null string behaves as an empty string

Set nulls = CreateObject("Nuvolex.NXStringList")
nulls.Add "first"
nulls.Add nulls.New ' which is always null
nulls.Add CreateObject("Nuvolex.NXString").Value ' null as well
nulls.Add "last"
nulls.Item(0) = nulls(1)
Equal "type of a null entry", TypeName(nulls(1)), "String"
Equal "a null entry equals an empty string", nulls(1) = "", True
Equal "Len of a null entry", Len(nulls.Item(1)), 0
Equal "a null entry and text", nulls(1) & "x", "x"
Equal "New and text", nulls.New & "x", "x"
all = ""
For Each item In nulls
    Equal "type of an element among null ones", TypeName(item), "String"
    all = all & "[" & item & Len(item) & (item = "") & "]"
Next
Equal "For Each with null entries", all, "[0True][0True][0True][last4False]"

' ---- An invalid index raises an error and changes nothing

On Error Resume Next
item = list.Item(3)
Equal "description", Err.Description, "Index out of bounds!"
Equal "source", Err.Source, "Nuvolex.NXStringList.1"
RaisedSomething "Item past the end"
item = list(-1)
Equal "description by the default member", Err.Description, "Index out of bounds!"
RaisedSomething "a negative index"
list.Remove 3
Equal "description of Remove", Err.Description, "Index out of bounds!"
RaisedSomething "Remove past the end"
list.Item(4) = "x"
Equal "description of a write", Err.Description, "Index out of bounds!"
RaisedSomething "a write beyond Count"
list.Count = 5
RaisedSomething "a written count"
item = list.Item("x")
Raised "text as index", 13
item = list.Item()
Raised "no index", 450
On Error GoTo 0
Equal "count after all that", list.Count, 3

' ---- Many strings

Set list = CreateObject("Nuvolex.NXStringList")
For i = 0 To 9999
    list.Add "string " & i
Next
i = 0
For Each item In list
    If item = "string " & i Then i = i + 1
Next
Equal "10000 strings", i, 10000
