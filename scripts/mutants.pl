#!/usr/bin/perl
# Lists the one-line mutations of the C++ sources named on the command line, one
# a line: FILE <tab> LINE <tab> CLASS <tab> MUTATED LINE. The classes:
#   compare  a comparison flipped (== and !=, < and >=, > and <=)
#   bound    a number compared against moved by one
#   invert   a condition or boolean inverted (!x and x, && and ||, true and false)
#   literal  a string or number literal swapped for another of the same file
#   call     a call statement deleted
#   status   a returned status replaced (a named status or a number by 0, 0 or kOk by -1)
# Comments, includes and lines of declarations only are left alone, and so are
# the messages for people: a line that only logs or prints a diagnostic
# (log_msg, printf, perror, fflush) changes nothing the app or the
# configuration sees, and a test pinning its wording would restate the code.
use strict;
use warnings;

for my $file (@ARGV) {
	open my $in, '<', $file or die "mutants: $file: $!\n";
	my @lines = <$in>;
	close $in;
	chomp @lines;
	# The literals of the file, for swaps.
	my (%strings, %numbers);
	for (@lines) {
		next if m{^\s*(//|#)};
		$strings{$1} = 1 while /("(?:[^"\\]|\\.)+")/g;
		$numbers{$1} = 1 while /(?<![\w.])(\d+)(?![\w.'])/g;
	}
	my @strings = sort keys %strings;
	my @numbers = sort { $a <=> $b } keys %numbers;
	my ($n, $in_message) = (0, 0);
	for my $line (@lines) {
		$n++;
		next if $line =~ m{^\s*(//|#|\*)} || $line !~ /\S/;
		# A message may run over several lines: skip to the one that ends it.
		$in_message = 1 if $line =~ /^\s*(?:if \(.*\) )?(?:log_msg|std::f?printf|std::perror|std::fflush)\(/;
		if ($in_message) { $in_message = 0 if $line =~ /;\s*(?:\/\/.*)?$/; next; }
		my $code = $line;
		$code =~ s{\s//.*$}{};  # a trailing comment is no code
		my @out;
		my $emit = sub { my ($class, $text) = @_; push @out, [$class, $text] if $text ne $line; };
		# Each match of a pattern, mutated on its own.
		my $each = sub {
			my ($class, $pattern, $replace) = @_;
			while ($code =~ /$pattern/g) {
				my ($start, $end) = ($-[0], $+[0]);
				my $found = substr($code, $start, $end - $start);
				my $new = $replace->($found);
				next unless defined $new;
				$emit->($class, substr($line, 0, $start) . $new . substr($line, $end));
			}
		};
		my %flip = ('==' => '!=', '!=' => '==', '<' => '>=', '>=' => '<', '>' => '<=', '<=' => '>');
		$each->('compare', qr/(?<= )(==|!=|<=|>=|<|>)(?= )/, sub { $flip{$_[0]} });
		$each->('bound', qr/(?<=[<>=] )\d+\b/, sub { $_[0] + 1 });
		$each->('bound', qr/(?<=[<>=] )[1-9]\d*\b/, sub { $_[0] - 1 });
		$each->('invert', qr/(?<=\()!(?=[\w(])/, sub { '' });
		$each->('invert', qr/(?<=if \()(?!!)/, sub { '!' });
		$each->('invert', qr/ (&&|\|\|) /, sub { $_[0] eq ' && ' ? ' || ' : ' && ' });
		$each->('invert', qr/\b(true|false)\b/, sub { $_[0] eq 'true' ? 'false' : 'true' });
		if ($code !~ /^\s*(static_assert|case|default)\b/ && $code !~ /\{\s*$/) {
			$each->('literal', qr/"(?:[^"\\]|\\.)+"/, sub {
				my @others = grep { $_ ne $_[0] } @strings;
				@others ? $others[(length($_[0]) + $n) % @others] : undef;
			});
			$each->('literal', qr/(?<![\w.])\d+(?![\w.'])/, sub {
				my @others = grep { $_ != $_[0] } @numbers;
				@others ? $others[($_[0] + $n) % @others] : undef;
			});
		}
		# A statement that is a call and nothing else, on one line (a static_assert is
		# no call: the build checks it, and nothing runs).
		if ($code =~ /^(\s*)(?:static_cast<void>\()?[\w:.>\-]+\(.*\)\)?;\s*$/ && $code !~ /^\s*(return|delete|throw|static_assert)\b/
			&& $code !~ /=/) {
			$emit->('call', "$1;");
		}
		# kOk is 0 itself: it is replaced as 0 is.
		if ($code =~ /^(\s*(?:if \(.*\) )?return )(k(?!Ok;)[A-Z]\w*|-\d+|rc)(;.*)$/) {
			$emit->('status', "$1" . "0$3");
		} elsif ($code =~ /^(\s*(?:if \(.*\) )?return )(?:0|kOk)(;.*)$/) {
			$emit->('status', "$1" . "-1$2");
		}
		print join("\t", $file, $n, @$_), "\n" for @out;
	}
}
