' NXTokenStringList in VBScript.
Option Explicit

Dim list, other, tokens, entry, all, i
Set list = CreateObject("Nuvolex.NXTokenStringList")
Equal "kind of object", TypeName(list), "INXTokenStringList"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXTokenStringList.1")), "INXTokenStringList"
Equal "count of a new list", list.Count, 0

' ---- Filling

Set tokens = CreateObject("Nuvolex.NXTokenString")
tokens.Value = "added"
list.Add tokens
Equal "count", list.Count, 1
Equal "the entry is the object", list.Item(0) Is tokens, True
Equal "by the default member too", list(0) Is tokens, True
tokens.Value = "changed"
Equal "changes are seen through the list", list(0).Value, "changed"

Set entry = list.New
entry.Value = "new"
Equal "New appends", list.Count, 2
Equal "what New gave is the entry", list.Item(1) Is entry, True

Set entry = list.AddNew
entry.Value = "add new"
Equal "AddNew appends", list.Count, 3
Equal "what AddNew gave is the entry", list.Item(2) Is entry, True
Set entry = Nothing
Equal "the entry stays when the variable goes", list(2).Value, "add new"

list.Item(3) = tokens
Equal "a write past the end appends", list.Count, 4
Equal "the same object twice", list(3) Is list(0), True

' ---- For Each

all = ""
For Each entry In list
    Equal "type of an element", TypeName(entry), "INXTokenString"
    all = all & entry.Value & ";"
Next
Equal "For Each", all, "changed;new;add new;changed;"

' ---- Removing

Set entry = list(1)
list.Remove 1
Equal "count after Remove", list.Count, 3
Equal "a removed object lives on", entry.Value, "new"
list.Remove 0
Equal "the same object's other entry stays", list(1).Value, "changed"

' ---- Nothing is a valid entry

list.Add Nothing
Equal "an entry that is Nothing", list(2) Is Nothing, True
all = 0
For Each entry In list
    all = all + 1
Next
Equal "For Each with Nothing", all, 3
list.Remove 2

' ---- Set replaces an entry, like a plain assignment

Set other = CreateObject("Nuvolex.NXTokenStringList")
Set entry = other.AddNew
entry.Value = "replaced"
Set other.Item(0) = tokens
Equal "Set replaces the entry", other(0) Is tokens, True
Equal "count after Set", other.Count, 1
Equal "the replaced object stays alive in its variable", entry.Value, "replaced"
Set other.Item(1) = entry
Equal "Set at index Count appends", other.Count, 2
Equal "the entry appended by Set", other(1) Is entry, True
Set other.New = tokens
Equal "Set of New appends", other(2) Is tokens, True
Set other.Item(0) = Nothing
Equal "Set to Nothing", other(0) Is Nothing, True
Equal "count after all Sets", other.Count, 3

' ---- Objects outlive their lists

Set other = CreateObject("Nuvolex.NXTokenStringList")
Set entry = other.AddNew
entry.Value = "outlives"
list.Add entry
Set other = Nothing
Equal "an entry of a list that is gone", entry.Value, "outlives"
Set entry = Nothing
Equal "in another list", list(2).Value, "outlives"

' ---- An invalid index raises an error and changes nothing

On Error Resume Next
Set entry = list.Item(3)
Equal "description", Err.Description, "Index out of bounds!"
Equal "source", Err.Source, "Nuvolex.NXTokenStringList.1"
RaisedSomething "Item past the end"
Set entry = list(-1)
RaisedSomething "a negative index"
list.Remove 3
Equal "description of Remove", Err.Description, "Index out of bounds!"
RaisedSomething "Remove past the end"
list.Add "text"
RaisedSomething "text added"
list.Add CreateObject("Nuvolex.NXString")
RaisedSomething "an object of another class added"
Set entry = list(0)
Set list.Item(4) = tokens
Equal "description of Set", Err.Description, "Index out of bounds!"
RaisedSomething "Set past index Count"
Set list.Item(0) = CreateObject("Nuvolex.NXString")
RaisedSomething "Set to an object of another class"
Equal "the entry after a failed Set", list(0) Is entry, True
On Error GoTo 0
Equal "count after all that", list.Count, 3

' ---- AddNew as a statement, many times

Set list = CreateObject("Nuvolex.NXTokenStringList")
For i = 1 To 10000
    list.AddNew
    list(i - 1).Value = "tokens " & i
Next
Equal "10000 statements", list.Count, 10000
i = 0
For Each entry In list
    If entry.Value = "tokens " & (i + 1) Then i = i + 1
Next
Equal "every entry is alive", i, 10000
Set entry = Nothing
Do While list.Count > 0
    list.Remove list.Count - 1
Loop
Equal "all removed", list.Count, 0
