' Trims 10,000 lines and cuts a column of 8 characters out of each.
Option Explicit

Dim line, length, i
For i = 1 To 10000
    line = "    name    0123456789    "
    line = Trim(line)
    length = length + Len(Mid(line, 9, 8))
Next
WScript.Echo "Done: " & length
