// Reads a table, writes a report of three of its columns, and adds up one: ROUNDS TABLE REPORT
var table = new ActiveXObject("Nuvolex.NXFileStream");
var report = new ActiveXObject("Nuvolex.NXFileStream");
var fields = new ActiveXObject("Nuvolex.NXTokenString");
fields.Separator = ",";
var rounds = parseInt(WScript.Arguments(0), 10);
var start = new Date().getTime();
var total;
for (var round = 0; round < rounds; ++round) {
    total = 0;
    table.Open(WScript.Arguments(1), false);
    report.Open(WScript.Arguments(2), false); // keeps the name, so that Clear can empty the file
    report.Clear();
    report.Open(WScript.Arguments(2), false);
    while (!table.IsEOF()) {
        fields.Value = table.ReadNextLine();
        report.WriteLine(fields.Token(2) + ": " + fields.Token(1) + ", " + fields.Token(4));
        total += parseInt(fields.Token(4), 10);
    }
    table.Close();
    report.Close();
}
WScript.Echo("Time: " + (new Date().getTime() - start));
WScript.Echo("Done: " + total);
