# Measures DBD::ODBC: dbd_odbc_rival.pl MODULE CONNECTION-STRING ROWS SECONDS
#
# As pyodbc_rival.py does, with the same lines.
use strict;
use warnings;
use DBI;
use FFI::Platypus;
use Time::HiRes qw(clock_gettime CLOCK_MONOTONIC);

use constant {SLICE => 5000, QUERIES => 200, INSERTS => 500, STRIDE => 7919};
my $columns = 'id, name, city, ordered, amount, note';

my ($module, $connection_string, $rows, $seconds) = @ARGV;
my $ffi = FFI::Platypus->new(api => 2, lib => $module);
my $bare = $ffi->function(RunBare => ['string', 'long', 'string'] => 'double');
my $connection =
    DBI->connect("dbi:ODBC:$connection_string", undef, undef, {RaiseError => 1, AutoCommit => 1});

sub thread_time {
    return 1e9 * clock_gettime(Time::HiRes::CLOCK_THREAD_CPUTIME_ID());
}

sub fetch_rows {
    my ($turn) = @_;
    my $first = $turn % int($rows / SLICE) * SLICE + 1;
    my $last = $first + SLICE - 1;
    my $statement =
        $connection->prepare("SELECT $columns FROM bench_rows WHERE id BETWEEN $first AND $last");
    my $start = thread_time();
    $statement->execute;
    while (my $taken = $statement->fetchall_arrayref(undef, 100)) {
        last if @$taken < 100;
    }
    return thread_time() - $start;
}

sub keys_of {
    my ($turn) = @_;
    return map { $_ * STRIDE % $rows + 1 } $turn * QUERIES .. ($turn + 1) * QUERIES - 1;
}

my $by_key = $connection->prepare("SELECT $columns FROM bench_rows WHERE id = ?");

sub by_key {
    my @wanted = keys_of(@_);
    my $start = thread_time();
    for my $key (@wanted) {
        $by_key->execute($key);
        $by_key->fetchall_arrayref;
    }
    return thread_time() - $start;
}

sub by_new_statement {
    my @queries =
        map { "SELECT $columns FROM bench_rows WHERE id BETWEEN $_ AND $_" } keys_of(@_);
    my $start = thread_time();
    for my $query (@queries) {
        my $statement = $connection->prepare($query);
        $statement->execute;
        $statement->fetchall_arrayref;
    }
    return thread_time() - $start;
}

my $insert = $connection->prepare('INSERT INTO bench_inserts VALUES (?, ?, ?, ?)');

sub insert {
    $connection->begin_work;
    my $start = thread_time();
    for my $number (1000 .. 999 + INSERTS) {
        $insert->execute($number, 'Springfield, north', 'a text of usual length', 1234.5);
    }
    my $used = thread_time() - $start;
    $connection->rollback;
    return $used;
}

sub quantile {
    my ($share, @values) = @_;
    return (sort { $a <=> $b } @values)[int($share * (@values - 1))];
}

sub measure {
    my ($task, $units, $work) = @_;
    my (@own, @base, @ratios);
    my $end = clock_gettime(CLOCK_MONOTONIC) + $seconds;
    for (my $turn = 0; @ratios < 15 || clock_gettime(CLOCK_MONOTONIC) < $end; ++$turn) {
        my ($own, $base);
        my $run_bare = sub { $base = $bare->call($connection_string, $rows, $task) };
        $run_bare->() if $turn % 2;
        $own = $work->($turn);
        $run_bare->() unless $turn % 2;
        exit 1 if $base < 0;
        next unless $turn;    # the first pair warms up
        push @own, $own / $units;
        push @base, $base / $units;
        push @ratios, $own / $base;
    }
    printf "DBD::ODBC %s\t%s\t%.4f %.4f %.4f %.1f %.1f\n", DBD::ODBC->VERSION, $task,
        (map { quantile($_, @ratios) } 0.25, 0.5, 0.75), quantile(0.5, @own), quantile(0.5, @base);
}

measure('FetchRows 100, with execute', SLICE, \&fetch_rows);
measure('query by key, prepared once', QUERIES, \&by_key);
measure('query by key, one statement each', QUERIES, \&by_new_statement);
measure('inserts, 4 parameters', INSERTS, \&insert);
undef $by_key;
undef $insert;
$connection->disconnect;
