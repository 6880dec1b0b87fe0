-- The world by ISO's codes: countries and their subdivisions, languages, currencies. Read from the
-- JSON files of Debian's package iso-codes.

CREATE TABLE country (
    alpha_2       CHAR(2) PRIMARY KEY,
    alpha_3       CHAR(3) NOT NULL,
    numeric       INTEGER NOT NULL,
    name          VARCHAR(80) NOT NULL,
    official_name VARCHAR(80),
    common_name   VARCHAR(80)
);
INSERT INTO country
SELECT value ->> 'alpha_2', value ->> 'alpha_3', value ->> 'numeric', value ->> 'name',
       value ->> 'official_name', value ->> 'common_name'
FROM json_each(readfile('/usr/share/iso-codes/json/iso_3166-1.json'), '$."3166-1"');

CREATE TABLE subdivision (
    code   VARCHAR(6) PRIMARY KEY,
    name   VARCHAR(80) NOT NULL,
    type   VARCHAR(60) NOT NULL,
    parent VARCHAR(6)
);
INSERT INTO subdivision
SELECT value ->> 'code', value ->> 'name', value ->> 'type', value ->> 'parent'
FROM json_each(readfile('/usr/share/iso-codes/json/iso_3166-2.json'), '$."3166-2"');

CREATE TABLE language (
    alpha_3 CHAR(3) PRIMARY KEY,
    alpha_2 CHAR(2),
    name    VARCHAR(80) NOT NULL,
    type    CHAR(1) NOT NULL
);
INSERT INTO language
SELECT value ->> 'alpha_3', value ->> 'alpha_2', value ->> 'name', value ->> 'type'
FROM json_each(readfile('/usr/share/iso-codes/json/iso_639-3.json'), '$."639-3"');

CREATE TABLE currency (
    code    CHAR(3) PRIMARY KEY,
    numeric INTEGER NOT NULL,
    name    VARCHAR(80) NOT NULL
);
INSERT INTO currency
SELECT value ->> 'alpha_3', value ->> 'numeric', value ->> 'name'
FROM json_each(readfile('/usr/share/iso-codes/json/iso_4217.json'), '$."4217"');
