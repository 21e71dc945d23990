' Splits 32,768 fields and adds up their lengths.
Option Explicit

Dim text, token, length, start, round, i, fields
text = "0123456789"
For i = 1 To 15
    text = text & "," & text
Next

start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    fields = Split(text, ",")
    For Each token In fields
        length = length + Len(token)
    Next
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & length
