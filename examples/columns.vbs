' Reads a file of fixed-width columns and trims the blanks that pad them.
'
'     cscript //nologo columns.vbs [FILE]
'
' Without FILE it reads data\elements.txt beside this script: the chemical elements, one per line.
Option Explicit

Dim fso, path, file, line, part, name, longest
Dim number, symbol, weight
Dim elements, ium, leading, trailing

Set fso = CreateObject("Scripting.FileSystemObject")
If WScript.Arguments.Count > 0 Then
    path = WScript.Arguments(0)
Else
    path = fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\elements.txt")
End If

Set line = CreateObject("Nuvolex.NXString")
Set part = CreateObject("Nuvolex.NXString")
Set name = CreateObject("Nuvolex.NXString")
Set longest = CreateObject("Nuvolex.NXString")
elements = 0
ium = 0
leading = 0
trailing = 0

' The text of the column that begins at position start (the first is 0), without the blanks around it. The trims tell
' how many they took.
Function Column(start, width)
    part.Value = line.Mid(start, width)
    leading = leading + part.TrimLeft
    trailing = trailing + part.TrimRight
    Column = part.Value
End Function

WScript.Echo "Elements whose symbol and English name begin differently:"
Set file = fso.OpenTextFile(path)
Do Until file.AtEndOfStream
    line.Value = file.ReadLine
    number = Column(0, 3)  ' padded on the left
    symbol = Column(4, 2)  ' padded on the right
    weight = Column(21, 6) ' padded on the left; nothing but blanks for an element that has none
    name.Value = Column(7, 13)

    If name.Left(1) <> Left(symbol, 1) Then
        WScript.Echo "  " & number & vbTab & symbol & vbTab & weight & vbTab & name.Value
    End If
    If name.Right(3) = "ium" Then ium = ium + 1
    If name.Length > longest.Length Then longest.Value = name.Value
    elements = elements + 1
Loop
file.Close

WScript.Echo "Names that end in -ium: " & ium
WScript.Echo "Longest name: " & longest.Value & " (" & longest.Length & " letters)"
WScript.Echo "Blanks trimmed: " & leading & " on the left, " & trailing & " on the right"
' Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo "Done: " & elements & " elements read."
