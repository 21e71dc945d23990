' Trims 10,000 lines and cuts a column of 8 characters out of each.
Option Explicit

Dim line, length, i
Set line = CreateObject("Nuvolex.NXString")
For i = 1 To 10000
    line.Value = "    name    0123456789    "
    line.Trim
    length = length + Len(line.Mid(8, 8))
Next
WScript.Echo "Done: " & length
