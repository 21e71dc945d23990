' Collects values of many types: each setting of a configuration file as the type that it looks like.
'
'     cscript //nologo values.vbs [FILE]
'
' Without FILE it reads data\settings.ini beside this script.
Option Explicit

Dim fso, path, file, line, names, values, value, list, first, i

Set fso = CreateObject("Scripting.FileSystemObject")
If WScript.Arguments.Count > 0 Then
    path = WScript.Arguments(0)
Else
    path = fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\settings.ini")
End If

' Text becomes a Boolean, a number, a date, an object (a token string), or stays text.
Sub AddTyped(text)
    If text = "yes" Or text = "no" Then
        values.Add text = "yes"
    ElseIf IsNumeric(text) Then
        values.Add CLng(text)
    ElseIf Len(text) = 10 And Mid(text, 5, 1) = "-" And Mid(text, 8, 1) = "-" Then
        values.Add DateSerial(Left(text, 4), Mid(text, 6, 2), Right(text, 2))
    ElseIf InStr(text, ",") > 0 Then
        Dim tokens
        Set tokens = CreateObject("Nuvolex.NXTokenString")
        tokens.Separator = ", "
        tokens.MultiCharacter = True ' the blank belongs to the separator
        tokens.Value = text
        values.Add tokens
    Else
        values.Add text
    End If
End Sub

' A list of strings counts from 0, a variant collection from 1: name i belongs to value i + 1.
Set names = CreateObject("Nuvolex.NXStringList")
Set values = CreateObject("Nuvolex.NXVariantCollection")

Set file = CreateObject("Nuvolex.NXFileStream")
If Not file.Open(path, False) Then
    WScript.Echo "cannot open " & path
    WScript.Quit 1
End If
Do Until file.IsEOF
    line = file.ReadNextLine
    If Not file.IsCommentLine(line) And InStr(line, "=") > 0 Then
        names.Add Trim(Left(line, InStr(line, "=") - 1))
        AddTyped Trim(Mid(line, InStr(line, "=") + 1))
    End If
Loop
file.Close

' Objects need Set, everything else must not have it; a value that may be either is best handed to a procedure.
Function Described(value)
    If IsObject(value) Then
        Described = TypeName(value) & ", " & value.Count & " tokens, the first is " & value(0)
    ElseIf IsArray(value) Then
        Described = "array, " & UBound(value) + 1 & " elements, the first is " & value(0)
    ElseIf VarType(value) = vbDate Then
        Described = "Date, in the year " & Year(value)
    Else
        Described = TypeName(value) & ", " & value
    End If
End Function

WScript.Echo values.Count & " values:"
For i = 1 To values.Count
    WScript.Echo "  " & names(i - 1) & ": " & Described(values(i))
Next

' Add takes a position too: the value goes before the one that is there. The collection keeps a copy of its own, so
' what becomes of the variable does not matter, but an object in it stays the same object.
list = Array("Sat", "Sun")
values.Add list, 1
list(0) = "changed"
first = values(1)
WScript.Echo "At position 1 now: " & Described(first)
values.Remove 1
values.Remove ' without a number: the last one
values.Add Null
values.Add Empty

' For Each walks it as it is now.
line = ""
For Each value In values
    line = line & " " & TypeName(value)
Next
WScript.Echo "Types:" & line

' Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo "Done: " & values.Count & " values walked."
