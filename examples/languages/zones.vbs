' VBScript: the time zones that ten countries or more share. The same program as the others in this folder.
'
'     cscript //nologo zones.vbs ..\data\zones.tab shared.txt
'
' The first file is read, the second one written.
Option Explicit

Const MANY = 10

Dim file, line, rows, row, codes, names, name, facts, fact, written, found

' Read: one row a line, split at tabs.
Set file = CreateObject("Nuvolex.NXFileStream")
If Not file.Open(WScript.Arguments(0), False) Then
    WScript.Echo "cannot open " & WScript.Arguments(0)
    WScript.Quit 1
End If
Set rows = CreateObject("Nuvolex.NXTokenStringList")
Do Until file.IsEOF
    line = file.ReadNextLine
    If Not file.IsCommentLine(line) Then ' begins with "#", or is empty like the one after the last line end
        Set row = rows.AddNew ' a new token string, which is in the list already
        row.Separator = vbTab
        row.Value = line
    End If
Loop

' Split the first column at commas, and collect the names in the third. row(0) is short for row.Token(0).
Set codes = CreateObject("Nuvolex.NXTokenString")
codes.Separator = ","
Set names = CreateObject("Nuvolex.NXStringList")
For Each row In rows
    codes.Value = row(0)
    If codes.Count >= MANY Then names.Add row(2)
Next
WScript.Echo names.Count & " of " & rows.Count & " zones are shared by " & MANY & " countries or more:"
For Each name In names
    WScript.Echo "  " & name
Next

' A variant collection holds values of any type.
Set facts = CreateObject("Nuvolex.NXVariantCollection")
facts.Add rows.Count
facts.Add names(0)
For Each fact In facts
    WScript.Echo "fact: " & fact
Next

' Indices count from 0, so this one is one too large.
On Error Resume Next
name = names(names.Count)
If Err.Number <> 0 Then WScript.Echo "error 0x" & Hex(Err.Number) & ": " & Err.Description
On Error GoTo 0

' Write: Open opens existing files only, Clear creates one (or empties it).
If Not file.Open(WScript.Arguments(1), False) Then WScript.Echo "a new file"
file.Clear
file.Open WScript.Arguments(1), False
written = 0
For Each name In names
    If file.WriteLine(name) Then written = written + 1
Next

' Read back. The extra empty line after the last line end is not counted.
file.Open WScript.Arguments(1), False
found = 0
Do Until file.IsEOF
    If file.ReadNextLine <> "" Then found = found + 1
Loop
file.Close
WScript.Echo written & " lines written, " & found & " read back"
