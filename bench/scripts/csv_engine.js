// Reads a table, writes a report of three of its columns, and adds up one: ROUNDS TABLE REPORT
var FOR_READING = 1;

var fso = new ActiveXObject("Scripting.FileSystemObject");
var rounds = parseInt(WScript.Arguments(0), 10);
var start = new Date().getTime();
var total;
for (var round = 0; round < rounds; ++round) {
    total = 0;
    var table = fso.OpenTextFile(WScript.Arguments(1), FOR_READING);
    var report = fso.CreateTextFile(WScript.Arguments(2), true);
    while (!table.AtEndOfStream) {
        var fields = table.ReadLine().split(",");
        report.WriteLine(fields[2] + ": " + fields[1] + ", " + fields[4]);
        total += parseInt(fields[4], 10);
    }
    table.Close();
    report.Close();
}
WScript.Echo("Time: " + (new Date().getTime() - start));
WScript.Echo("Done: " + total);
