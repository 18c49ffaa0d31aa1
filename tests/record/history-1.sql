-- A store as the first release made it: a read of one item, and a write of it.
PRAGMA application_id = 1131181678;
CREATE TABLE meta (name TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE ring (id INTEGER PRIMARY KEY, path TEXT NOT NULL, sha256 TEXT NOT NULL, UNIQUE (path, sha256));
CREATE TABLE phone (id INTEGER PRIMARY KEY, model TEXT NOT NULL, serial TEXT NOT NULL, port TEXT NOT NULL, last_seen BIGINT NOT NULL, sessions INTEGER NOT NULL, UNIQUE (model, serial, port));
CREATE TABLE content (id INTEGER PRIMARY KEY, bytes BLOB NOT NULL UNIQUE);
CREATE TABLE snapshot (id INTEGER PRIMARY KEY, hash BLOB NOT NULL UNIQUE, base INTEGER, depth INTEGER NOT NULL);
CREATE TABLE snapshot_item (snapshot INTEGER NOT NULL, item INTEGER NOT NULL, state INTEGER NOT NULL, status INTEGER NOT NULL, content INTEGER, PRIMARY KEY (snapshot, item)) WITHOUT ROWID;
CREATE TABLE session (id INTEGER PRIMARY KEY, uuid TEXT NOT NULL UNIQUE, phone INTEGER NOT NULL, kind INTEGER NOT NULL, state INTEGER NOT NULL, begun BIGINT NOT NULL, ended BIGINT, received BIGINT, program TEXT NOT NULL, ring INTEGER, port TEXT NOT NULL, software TEXT NOT NULL, user_name TEXT NOT NULL, host TEXT NOT NULL, pid BIGINT, pid_start TEXT, asked TEXT NOT NULL, snapshot INTEGER, items INTEGER NOT NULL, changed INTEGER NOT NULL, failure TEXT NOT NULL, note TEXT NOT NULL, handed_over INTEGER NOT NULL);
CREATE INDEX session_of_phone ON session (phone, begun);
CREATE INDEX session_begun ON session (begun);
CREATE INDEX session_open ON session (host) WHERE state = 0;
CREATE INDEX session_pending ON session (begun) WHERE handed_over = 0;
CREATE TABLE session_item (session INTEGER NOT NULL, item INTEGER NOT NULL, position INTEGER NOT NULL, state INTEGER NOT NULL, status INTEGER NOT NULL, before INTEGER, wanted INTEGER, after INTEGER, reason TEXT NOT NULL, PRIMARY KEY (session, item)) WITHOUT ROWID;
CREATE TABLE over_time (phone INTEGER NOT NULL, item INTEGER NOT NULL, since BIGINT NOT NULL, session INTEGER, content INTEGER NOT NULL, PRIMARY KEY (phone, item, since)) WITHOUT ROWID;
CREATE TABLE latest (item INTEGER NOT NULL, phone INTEGER NOT NULL, since BIGINT NOT NULL, bytes BLOB NOT NULL, PRIMARY KEY (item, phone)) WITHOUT ROWID;
INSERT INTO meta VALUES ('schema', '1');
INSERT INTO ring VALUES (1, 'NV Decoder.vrk', '');
INSERT INTO phone VALUES (1, 'X1', 'A100', '', 20, 2);
INSERT INTO content VALUES (1, x'04'), (2, x'05');
INSERT INTO snapshot VALUES (1, x'00', NULL, 0);
INSERT INTO snapshot_item VALUES (1, 1060, 1, 0, 1);
INSERT INTO session VALUES (1, 'aa', 1, 0, 1, 10, 11, NULL, 'calvane 1.4.34', 1, 'COM1', '7', 'anna', 'bench-3', NULL, NULL,
    'read', 1, 1, 0, '', '', 0);
INSERT INTO session VALUES (2, 'ab', 1, 1, 1, 19, 21, NULL, 'calvane 1.4.34', 1, 'COM1', '7', 'anna', 'bench-3', 4711, 'x',
    'write', NULL, 1, 1, '', 'a note', 0);
INSERT INTO session_item VALUES (2, 1060, 0, 5, 0, 1, 2, 2, '');
INSERT INTO over_time VALUES (1, 1060, 10, 1, 1), (1, 1060, 20, 2, 2);
INSERT INTO latest VALUES (1060, 1, 20, x'05');
