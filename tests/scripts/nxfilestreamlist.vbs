' NXFileStreamList in VBScript.
Option Explicit

Dim list, stream, other, second, files, all, i
Set files = CreateObject("Scripting.FileSystemObject")
Set list = CreateObject("Nuvolex.NXFileStreamList")
Equal "kind of object", TypeName(list), "INXFileStreamList"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXFileStreamList.1")), "INXFileStreamList"
Equal "count of a new list", list.Count, 0

' Opens a new file.
Sub OpenNew(stream, name)
    stream.Open name, False
    stream.Clear
    Equal "Open of " & name, stream.Open(name, False), True
End Sub

' Whether the file is open.
Function IsInUse(name)
    On Error Resume Next
    files.MoveFile name, name & ".moved"
    IsInUse = Err.Number <> 0
    files.MoveFile name & ".moved", name
End Function

' ---- Filling

OpenNew list.AddNew, "0.txt"
Equal "AddNew appends", list.Count, 1
Equal "what AddNew gave is the entry", list(0).fileName, "0.txt"
OpenNew list.New, "1.txt"
Equal "New appends", list.Count, 2
Equal "what New gave is the entry", list.Item(1).fileName, "1.txt"

Set stream = CreateObject("Nuvolex.NXFileStream")
list.Add stream
Equal "Add appends the object itself", list(2) Is stream, True
list.New = stream
Equal "a written New appends too", list(3) Is stream, True
OpenNew stream, "2.txt"
Equal "changes are seen through the list", list(3).IsOpen, True

Set other = list.AddNew
Equal "a new stream is closed", other.IsOpen, False
Equal "and has no name", other.fileName, ""
Equal "each is another one", list.AddNew Is other, False
Equal "count", list.Count, 6

' ---- One line to each open file

For Each stream In list
    Equal "type of an element", TypeName(stream), "INXFileStream"
    If stream.IsOpen Then stream.WriteLine stream.fileName
Next
all = ""
For Each stream In list
    If stream.Open(stream.fileName, False) Then
        Do
            all = all & stream.ReadNextLine & ";"
        Loop Until stream.IsEOF
    Else
        all = all & "closed;"
    End If
Next
Equal "what was written", all, "0.txt;;1.txt;;2.txt;2.txt;;2.txt;2.txt;;closed;closed;"

' ---- Removing and replacing closes the files

Set stream = Nothing
Equal "a file whose stream is in the list", IsInUse("0.txt"), True
list.Remove 0
Equal "after Remove", IsInUse("0.txt"), False
Equal "the later ones move down", list(0).fileName, "1.txt"
list.Item(0) = other
Equal "an entry is replaced", list(0) Is other, True
Equal "after the replacement", IsInUse("1.txt"), False
list.Remove 1
Equal "the same stream's other entry stays", IsInUse("2.txt"), True
Set stream = list(1)
Equal "that entry", stream.fileName, "2.txt"
list.Remove 1
Equal "a removed stream lives on", IsInUse("2.txt"), True
Set stream = Nothing
Equal "and closes its file in the end", IsInUse("2.txt"), False

' ---- Nothing is a valid entry

list.Add Nothing
i = list.Count - 1
Equal "an entry that is Nothing", list(i) Is Nothing, True
all = 0
For Each stream In list
    all = all + 1
Next
Equal "For Each with Nothing", all, list.Count
list.Item(i) = other
Equal "Nothing is replaced", list(i) Is other, True
list.Item(i) = Nothing
Equal "by Nothing again", list.Item(i) Is Nothing, True
list.Remove i

' ---- Set replaces an entry, like a plain assignment

Set second = CreateObject("Nuvolex.NXFileStreamList")
OpenNew second.AddNew, "3.txt"
Equal "a file before its stream is replaced", IsInUse("3.txt"), True
Set second.Item(0) = other
Equal "Set replaces the entry", second(0) Is other, True
Equal "count after Set", second.Count, 1
Equal "the file after its stream was replaced by Set", IsInUse("3.txt"), False
Set second.New = other
Equal "Set of New appends", second(1) Is other, True
OpenNew second.New, "3.txt"
Set second.Item(2) = Nothing
Equal "Set to Nothing", second(2) Is Nothing, True
Equal "the file after Set to Nothing", IsInUse("3.txt"), False
Equal "count after all Sets", second.Count, 3

' ---- The list changes during For Each

all = 0
For Each stream In list
    all = all + 1
    If all = 1 Then list.Remove 0
    If all = 2 Then list.AddNew
    If all > 9 Then Exit For
Next
Equal "For Each goes on with what there is", all, 3

' ---- An invalid index raises an error and changes nothing

Equal "count before bad indices", list.Count, 3
On Error Resume Next
Set stream = list.Item(3)
Equal "description", Err.Description, "Index out of bounds!"
Equal "source", Err.Source, "Nuvolex.NXFileStreamList.1"
RaisedSomething "Item past the end"
i = list(3)
Equal "description by the default member", Err.Description, "Index out of bounds!"
RaisedSomething "the default member past the end"
Set stream = list(3)
RaisedSomething "Set from the default member past the end"
Set stream = list(-1)
RaisedSomething "a negative index"
list.Item(3) = other
Equal "description of a write", Err.Description, "Index out of bounds!"
RaisedSomething "a write past the end"
list.Remove 3
Equal "description of Remove", Err.Description, "Index out of bounds!"
RaisedSomething "Remove past the end"
list.Remove -1
RaisedSomething "Remove of a negative index"
list.Add "text"
RaisedSomething "text added"
list.Add CreateObject("Nuvolex.NXTokenString")
RaisedSomething "an object of another class added"
Set stream = list(0)
Set list.Item(3) = other
Equal "description of Set", Err.Description, "Index out of bounds!"
RaisedSomething "Set at index Count"
Set list.Item(0) = CreateObject("Nuvolex.NXTokenString")
RaisedSomething "Set to an object of another class"
Equal "the entry after a failed Set", list(0) Is stream, True
On Error GoTo 0
Equal "count after all that", list.Count, 3

' ---- After an error, releasing the list closes its files

Sub FailsInTheMiddle
    Dim list
    Set list = CreateObject("Nuvolex.NXFileStreamList")
    OpenNew list.AddNew, "0.txt"
    OpenNew list.AddNew, "1.txt"
    list(0).WriteLine "last words"
    list(2).WriteLine "never written"
End Sub

On Error Resume Next
FailsInTheMiddle
RaisedSomething "the error in the middle"
On Error GoTo 0
Equal "first file closed", IsInUse("0.txt"), False
Equal "second file closed", IsInUse("1.txt"), False
Equal "what was written is there", files.GetFile("0.txt").Size, 12

' ---- AddNew as a statement, many times

Set list = CreateObject("Nuvolex.NXFileStreamList")
For i = 1 To 10000
    list.AddNew
    list(i - 1).Open "missing " & i, False
Next
Equal "10000 statements", list.Count, 10000
i = 0
For Each stream In list
    If stream.fileName = "missing " & (i + 1) Then i = i + 1
Next
Equal "every entry is alive", i, 10000
Set stream = Nothing
Do While list.Count > 0
    list.Remove list.Count - 1
Loop
Equal "all removed", list.Count, 0
