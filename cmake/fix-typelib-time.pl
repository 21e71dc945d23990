# Replaces the build time that widl writes into a type library with a fixed one, so that builds are reproducible. Usage:
# perl fix-typelib-time.pl FILE
#
# The time is in the library's custom data twice: as text, then as a 32-bit number (VT_UI4, 0x13) padded with "WW".
use strict;
use warnings;

my ($path) = @ARGV;
open(my $in, '<:raw', $path) or die "$path: $!\n";
my $bytes = do { local $/; <$in> };
close($in);

my $text = $bytes =~ s/( at )\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}(\n)/$1Thu Jan  1 00:00:00 1970$2/;
my $number = $bytes =~ s/(\nWW\x13\x00)....(WW)/$1\0\0\0\0$2/s;
die "$path: no build time found\n" unless $text && $number;

open(my $out, '>:raw', $path) or die "$path: $!\n";
print {$out} $bytes or die "$path: $!\n";
close($out) or die "$path: $!\n";
