' Splits 32,768 fields and adds up their lengths.
Option Explicit

Dim text, token, length, i
text = "0123456789"
For i = 1 To 15
    text = text & "," & text
Next

For Each token In Split(text, ",")
    length = length + Len(token)
Next
WScript.Echo "Done: " & length
