-- Company database, SQLite dialect.
--
-- Tables, views and identifier generation of the business database that the
-- exchange procedures read and write. Load into an empty database:
--     sqlite3 company.db < company.sql
-- The procedure table ESPORTAZIONE lives in esportazione.sql.
--
-- Identifiers: PostgreSQL hands them out through the GET_ID_* functions.
-- SQLite has no stored procedures; ID_GENERATORE holds the last key given
-- out per generator name. A caller takes a new key inside an immediate
-- transaction with
--     UPDATE ID_GENERATORE SET ULTIMO = ULTIMO + 1 WHERE NOME = ?;
--     SELECT ULTIMO FROM ID_GENERATORE WHERE NOME = ?;
-- Rows inserted with a NULL or omitted ID get the next rowid; the triggers
-- at the end keep each generator above the highest key stored, so both ways
-- of assigning keys never collide.

PRAGMA page_size = 1024;

-- ---------------------------------------------------------------------------
-- Article master: classification, VAT rates, units of measure, articles
-- ---------------------------------------------------------------------------

CREATE TABLE CATEGORIA (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    NOTE                VARCHAR(255),
    FOTO                VARCHAR(60),
    F_PUBBLICA          INTEGER       NOT NULL DEFAULT 0
);

CREATE TABLE FAMIGLIA (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    ID_CATEGORIA        VARCHAR(10),
    NOTE                VARCHAR(255),
    FOTO                VARCHAR(60),
    F_PUBBLICA          INTEGER       NOT NULL DEFAULT 0
);

CREATE INDEX IX_FAMIGLIA_CATEGORIA ON FAMIGLIA (ID_CATEGORIA);

CREATE TABLE GRUPPO (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    NOTE                VARCHAR(255),
    FOTO                VARCHAR(60)
);

CREATE TABLE IVA (
    CODICE              VARCHAR(5)    NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    ALIQUOTA            DOUBLE
);

CREATE TABLE UNITA_MISURA (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60)
);

-- The first 26 columns are the ones the article exchange copies; FOTO is
-- copied as well, the columns between them stay as the target has them.
CREATE TABLE ARTICOLO (
    ID                  VARCHAR(20)   NOT NULL PRIMARY KEY,
    CODICE_BARRE        VARCHAR(13),
    CODICE_ALTERNATIVO  VARCHAR(13),
    DESCRIZIONE         VARCHAR(60),
    DESCRIZIONE_BREVE   VARCHAR(20),
    ID_UNITA_MISURA     VARCHAR(10),
    CODICE_IVA          VARCHAR(5),
    ID_CATEGORIA        VARCHAR(10),
    ID_FAMIGLIA         VARCHAR(10),
    ID_GRUPPO           VARCHAR(10),
    ID_CLASSE           VARCHAR(10),
    PREZZO              DOUBLE,
    PREZZO_2            DOUBLE,
    COSTO               DOUBLE,
    SCONTO_1            DOUBLE,
    SCONTO_2            DOUBLE,
    SCONTO_3            DOUBLE,
    PROVVIGIONE         DOUBLE,
    CONFEZIONE          INTEGER       NOT NULL DEFAULT 1,
    PREZZO_ACQUISTO     DOUBLE,
    PESO                DOUBLE,
    VOLUME              DOUBLE,
    SCORTA_MINIMA       DOUBLE,
    QTA_RIORDINO        DOUBLE,
    PRODUTTORE          VARCHAR(30),
    NOTE                VARCHAR(255),
    F_ATTIVO            INTEGER       NOT NULL DEFAULT 1,
    DATA_INSERIMENTO    TIMESTAMP,
    DATA_MODIFICA       TIMESTAMP,
    FOTO                VARCHAR(60)
);

CREATE INDEX IX_ARTICOLO_CATEGORIA ON ARTICOLO (ID_CATEGORIA);
CREATE INDEX IX_ARTICOLO_BARRE ON ARTICOLO (CODICE_BARRE);

-- ---------------------------------------------------------------------------
-- Geography: provinces and postal zones
-- ---------------------------------------------------------------------------

CREATE TABLE PROVINCIA (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    SIGLA               VARCHAR(2)    NOT NULL UNIQUE,
    NOMEPROVINCIA       VARCHAR(60),
    REGIONE             VARCHAR(60)
);

CREATE TABLE ZONA_POSTALE (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    CAP                 VARCHAR(10)   NOT NULL,
    NOMEZONAPOSTALE     VARCHAR(60)   NOT NULL,
    SIGLAPROVINCIA      VARCHAR(2),
    CODICEISTAT         VARCHAR(6),
    CODICECATASTALE     VARCHAR(4)
);

CREATE INDEX IX_ZONA_POSTALE_CAP ON ZONA_POSTALE (CAP, NOMEZONAPOSTALE);

-- ---------------------------------------------------------------------------
-- Own company, its sites and warehouses, agents
-- ---------------------------------------------------------------------------

CREATE TABLE SOCIETA (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    RAGIONESOCIALE      VARCHAR(80)   NOT NULL,
    PARTITAIVA          VARCHAR(20),
    CODICEFISCALE       VARCHAR(20),
    EMAIL               VARCHAR(80),
    SITO_WEB            VARCHAR(80)
);

CREATE TABLE SEDE_SOCIETA (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    IDSOCIETA           INTEGER       NOT NULL,
    DESCRIZIONE         VARCHAR(60),
    INDIRIZZO           VARCHAR(80),
    IDZONAPOSTALE       INTEGER,
    F_SEDE_LEGALE       INTEGER       NOT NULL DEFAULT 0,
    F_DEPOSITO          INTEGER       NOT NULL DEFAULT 1
);

CREATE TABLE COLLABORATORE (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    COGNOME             VARCHAR(40),
    NOME                VARCHAR(40),
    CODICEFISCALE       VARCHAR(20),
    PARTITAIVA          VARCHAR(20),
    EMAIL               VARCHAR(80),
    TELEFONO            VARCHAR(20),
    PERC_PROVVIGIONE    DOUBLE,
    IDSOCIETA           INTEGER
);

-- ---------------------------------------------------------------------------
-- Commercial tables: discount bands, payment terms, banks, transport
-- ---------------------------------------------------------------------------

CREATE TABLE SCONTO (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    SCONTO_1            DOUBLE,
    SCONTO_2            DOUBLE,
    SCONTO_3            DOUBLE,
    SCONTO_4            DOUBLE,
    SCONTO_5            DOUBLE
);

CREATE TABLE FORMULA_PAGAMENTO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(150)
);

CREATE TABLE BANCA (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    ABI                 VARCHAR(10),
    CAB                 VARCHAR(10),
    DESCRIZIONE         VARCHAR(200),
    IBAN                VARCHAR(34)
);

CREATE TABLE TRASPORTO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(150)
);

CREATE TABLE PORTO_MERCI (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(150)
);

-- ---------------------------------------------------------------------------
-- Customers: companies, branches, contacts, commercial terms, web users
-- ---------------------------------------------------------------------------

CREATE TABLE AZIENDA (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    RAGIONESOCIALE      VARCHAR(80),
    RAGIONESOCIALE2     VARCHAR(80),
    PARTITAIVA          VARCHAR(20),
    CODICEFISCALE       VARCHAR(20),
    EMAIL               VARCHAR(80),
    SITO_WEB            VARCHAR(80),
    NOTE                VARCHAR(255),
    CODICE_CLIENTE      VARCHAR(10),
    CODICE_FORNITORE    VARCHAR(10),
    PEC                 VARCHAR(80),
    CODICE_DESTINATARIO VARCHAR(7),
    IBAN                VARCHAR(34),
    RIFERIMENTO         VARCHAR(60),
    FIDO                DOUBLE,
    SCONTO_1            DOUBLE,
    SCONTO_2            DOUBLE,
    LISTINO             VARCHAR(10),
    F_FORNITORE         INTEGER       NOT NULL DEFAULT 0,
    DATA_INSERIMENTO    TIMESTAMP,
    DATA_MODIFICA       TIMESTAMP,
    ID_BANCA            INTEGER,
    F_CLIENTE           INTEGER       NOT NULL DEFAULT 1,
    ID_FORMULA_PAGAMENTO INTEGER
);

CREATE INDEX IX_AZIENDA_PARTITAIVA ON AZIENDA (PARTITAIVA);
CREATE INDEX IX_AZIENDA_CODICEFISCALE ON AZIENDA (CODICEFISCALE);

CREATE TABLE SEDE (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    IDAZIENDA           INTEGER       NOT NULL,
    DESCRIZIONE         VARCHAR(80),
    INDIRIZZO           VARCHAR(80),
    IDZONAPOSTALE       INTEGER,
    F_SEDE_PRINCIPALE   INTEGER       NOT NULL DEFAULT 0
);

CREATE INDEX IX_SEDE_AZIENDA ON SEDE (IDAZIENDA);

CREATE TABLE TIPO_RECAPITO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    NOMETIPORECAPITO    VARCHAR(40)   NOT NULL
);

CREATE TABLE RECAPITO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    IDSEDE              INTEGER       NOT NULL,
    IDTIPORECAPITO      INTEGER       NOT NULL,
    VALORE              VARCHAR(80),
    NOTE                VARCHAR(80)
);

CREATE INDEX IX_RECAPITO_SEDE ON RECAPITO (IDSEDE);

-- Commercial terms of a customer: discount band, price list, agent.
CREATE TABLE AZIENDA_SCONTO (
    ID_AZIENDA          INTEGER       NOT NULL PRIMARY KEY,
    ID_SCONTO           VARCHAR(10),
    ID_LISTINO          INTEGER,
    ID_AGENTE           INTEGER
);

CREATE TABLE CC_USER (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    USERNAME            VARCHAR(20)   NOT NULL,
    PASSWORD            VARCHAR(40),
    TIPO                VARCHAR(3),
    IDREFERENCE         INTEGER,
    STATO               VARCHAR(1),
    EMAIL               VARCHAR(80),
    DATA_ULTIMO_ACCESSO TIMESTAMP
);

CREATE INDEX IX_CC_USER_USERNAME ON CC_USER (USERNAME);

-- ---------------------------------------------------------------------------
-- Documents (orders, invoices) and their lines
-- ---------------------------------------------------------------------------

CREATE TABLE DOCUMENTO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    ID_CAUSALE          INTEGER       NOT NULL,
    SERIE               VARCHAR(10)   NOT NULL DEFAULT '',
    NUMERO              INTEGER       NOT NULL,
    ANNO                INTEGER       NOT NULL,
    NUMERO_DOCUMENTO    VARCHAR(20),
    DATA_DOCUMENTO      TIMESTAMP,
    DATA_REGISTRAZIONE  TIMESTAMP,
    DATA_CONSEGNA       TIMESTAMP,
    ID_SOCIETA          INTEGER,
    ID_SEDE_SOCIETA     INTEGER,
    ID_DEPOSITO         INTEGER,
    ID_AGENTE_SEDE_SOCIETA INTEGER,
    CLI_FAT_ID          INTEGER,
    CLI_FAT_SEDE_ID     INTEGER,
    CLI_FAT_RAGIONESOCIALE VARCHAR(80),
    CLI_FAT_INDIRIZZO   VARCHAR(80),
    CLI_FAT_LOCALITA    VARCHAR(80),
    CLI_FAT_PARTITAIVA  VARCHAR(20),
    DESTINAZIONE        VARCHAR(255),
    DESTINAZIONE_LOCALITA VARCHAR(80),
    NOTE                VARCHAR(255),
    SCONTO              DOUBLE,
    SPESE_TRASPORTO     DOUBLE,
    ID_BANCA            INTEGER,
    ID_FORMULA_PAGAMENTO INTEGER,
    ID_TRASPORTO        INTEGER,
    ID_PORTO_MERCI      INTEGER,
    ID_STATO_ORDINE     INTEGER,
    F_MODIFICATO        INTEGER       NOT NULL DEFAULT 0,
    F_STAMPATO          INTEGER       NOT NULL DEFAULT 0,
    TOTALE_IMPONIBILE   DOUBLE,
    TOTALE_IVA          DOUBLE,
    TOTALE_DOCUMENTO    DOUBLE
);

CREATE INDEX IX_DOCUMENTO_NUMERO ON DOCUMENTO (ID_CAUSALE, ANNO, NUMERO);
CREATE INDEX IX_DOCUMENTO_STATO ON DOCUMENTO (ID_STATO_ORDINE);

CREATE TABLE VOCI_DOCUMENTO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    ID_DOCUMENTO        INTEGER       NOT NULL,
    TIPO                VARCHAR(1)    NOT NULL DEFAULT 'A',
    ID_ARTICOLO         VARCHAR(20),
    DESCRIZIONE         VARCHAR(255),
    ID_UNITA_MISURA     VARCHAR(10),
    QUANTITA            DOUBLE,
    COLLI               INTEGER,
    PREZZO              DOUBLE,
    PREZZO_NETTO        DOUBLE,
    QUANTITA_EVASA      DOUBLE,
    IMPORTO             DOUBLE,
    IMPORTO_IVA         DOUBLE,
    SCONTO_1            DOUBLE,
    SCONTO_2            DOUBLE,
    SCONTO_3            DOUBLE,
    SCONTO_4            DOUBLE,
    SCONTO_5            DOUBLE,
    SCONTO_TESTATA      DOUBLE,
    CODICE_IVA          VARCHAR(5),
    ALIQUOTA_IVA        DOUBLE,
    MARCATORE           VARCHAR(10),
    F_MODIFICATO        INTEGER       NOT NULL DEFAULT 0
);

CREATE INDEX IX_VOCI_DOCUMENTO_DOCUMENTO ON VOCI_DOCUMENTO (ID_DOCUMENTO);
CREATE INDEX IX_VOCI_DOCUMENTO_ARTICOLO ON VOCI_DOCUMENTO (ID_ARTICOLO);

-- ---------------------------------------------------------------------------
-- Due-date schedule (commissions are entries of it)
-- ---------------------------------------------------------------------------

CREATE TABLE SCADENZARIO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(100)  NOT NULL,
    DATA_SCADENZA       TIMESTAMP,
    ID_AZIENDA          INTEGER,
    IMPORTO             DOUBLE,
    IMPORTO_PAGATO      DOUBLE,
    DATA_PAGAMENTO      TIMESTAMP,
    F_PROVVIGIONE       INTEGER       NOT NULL DEFAULT 0,
    F_SALDATO           INTEGER       NOT NULL DEFAULT 0,
    ID_DOCUMENTO        INTEGER,
    ID_SOCIETA          INTEGER,
    ID_COLLABORATORE    INTEGER
);

CREATE INDEX IX_SCADENZARIO_DESCRIZIONE ON SCADENZARIO (DESCRIZIONE);
CREATE INDEX IX_SCADENZARIO_COLLABORATORE ON SCADENZARIO (ID_COLLABORATORE);

-- ---------------------------------------------------------------------------
-- Stock
-- ---------------------------------------------------------------------------

-- Stock per article, warehouse and year.
CREATE TABLE MOVIMENTO_ARTICOLO_DEPOSITO (
    ID_ARTICOLO         VARCHAR(20)   NOT NULL,
    ID_DEPOSITO         INTEGER       NOT NULL,
    ANNO                INTEGER       NOT NULL,
    GIACENZA_INIZIALE   DOUBLE,
    CARICO              DOUBLE,
    SCARICO             DOUBLE,
    GIACENZA            DOUBLE,
    ID_SOCIETA          INTEGER,
    ORDINATO            DOUBLE,
    IMPEGNATO           DOUBLE,
    DISPONIBILE         DOUBLE,
    DATA_ULTIMO_MOVIMENTO TIMESTAMP,
    PRIMARY KEY (ID_ARTICOLO, ID_DEPOSITO, ANNO)
);

-- Company-wide stock per article and year.
CREATE TABLE MOVIMENTO_ARTICOLO_SOCIETA (
    ID_ARTICOLO         VARCHAR(20)   NOT NULL,
    ID_SOCIETA          INTEGER       NOT NULL,
    ANNO                INTEGER       NOT NULL,
    GIACENZA_INIZIALE   DOUBLE,
    CARICO              DOUBLE,
    SCARICO             DOUBLE,
    GIACENZA            DOUBLE,
    ORDINATO            DOUBLE,
    IMPEGNATO           DOUBLE,
    DISPONIBILE         DOUBLE,
    DATA_ULTIMO_MOVIMENTO TIMESTAMP,
    PRIMARY KEY (ID_ARTICOLO, ID_SOCIETA, ANNO)
);

-- Warehouse journal; the article import empties it.
CREATE TABLE LOG_MAGAZZINO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    ID_ARTICOLO         VARCHAR(20),
    ID_DEPOSITO         INTEGER,
    DATA                TIMESTAMP,
    QUANTITA            DOUBLE,
    DESCRIZIONE         VARCHAR(255)
);

-- ---------------------------------------------------------------------------
-- Views behind the joined record classes
-- ---------------------------------------------------------------------------

CREATE VIEW ARTICOLO_COMPLETO AS
SELECT A.ID,
       A.DESCRIZIONE,
       A.PREZZO,
       A.CODICE_IVA,
       I.ALIQUOTA AS ALIQUOTA_IVA,
       A.FOTO,
       A.ID_CATEGORIA,
       A.ID_FAMIGLIA,
       A.ID_GRUPPO,
       A.ID_UNITA_MISURA,
       A.CODICE_BARRE,
       C.DESCRIZIONE AS DESCRIZIONE_CATEGORIA,
       F.DESCRIZIONE AS DESCRIZIONE_FAMIGLIA,
       U.DESCRIZIONE AS DESCRIZIONE_UNITA_MISURA
  FROM ARTICOLO A
  LEFT JOIN IVA I ON I.CODICE = A.CODICE_IVA
  LEFT JOIN CATEGORIA C ON C.ID = A.ID_CATEGORIA
  LEFT JOIN FAMIGLIA F ON F.ID = A.ID_FAMIGLIA
  LEFT JOIN UNITA_MISURA U ON U.ID = A.ID_UNITA_MISURA;

CREATE VIEW SEDE_COMPLETA AS
SELECT S.ID,
       S.IDAZIENDA,
       S.DESCRIZIONE,
       S.INDIRIZZO,
       S.IDZONAPOSTALE,
       S.F_SEDE_PRINCIPALE,
       Z.CAP,
       Z.NOMEZONAPOSTALE,
       Z.SIGLAPROVINCIA,
       Z.CODICEISTAT,
       Z.CODICECATASTALE
  FROM SEDE S
  LEFT JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE;

CREATE VIEW SEDE_SOCIETA_COMPLETA AS
SELECT S.ID,
       S.IDSOCIETA,
       S.DESCRIZIONE,
       S.INDIRIZZO,
       Z.CAP,
       Z.NOMEZONAPOSTALE,
       Z.SIGLAPROVINCIA,
       S.F_SEDE_LEGALE
  FROM SEDE_SOCIETA S
  LEFT JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE;

CREATE VIEW RECAPITO_COMPLETO AS
SELECT R.ID,
       R.IDSEDE,
       R.IDTIPORECAPITO,
       T.NOMETIPORECAPITO,
       R.VALORE
  FROM RECAPITO R
  JOIN TIPO_RECAPITO T ON T.ID = R.IDTIPORECAPITO;

-- Companies assigned to agents (the agent is kept in AZIENDA_SCONTO).
CREATE VIEW AZIENDA_AGENTE AS
SELECT A.ID,
       S.ID_AGENTE AS AGENTE_ID,
       S.ID_SCONTO,
       A.ID AS IDAZIENDA,
       A.RAGIONESOCIALE,
       A.RAGIONESOCIALE2,
       A.PARTITAIVA,
       A.CODICEFISCALE,
       A.FIDO,
       A.SCONTO_1,
       A.SCONTO_2,
       A.LISTINO,
       A.F_CLIENTE,
       A.ID_FORMULA_PAGAMENTO
  FROM AZIENDA A
  JOIN AZIENDA_SCONTO S ON S.ID_AZIENDA = A.ID
 WHERE S.ID_AGENTE IS NOT NULL;

-- Per-article stock totals of a company, summed over its warehouses.
CREATE VIEW CTRL_MOVIMENTO_ARTICOLO_SOCIETA AS
SELECT M.ID_ARTICOLO,
       D.IDSOCIETA AS ID_SOCIETA,
       M.ANNO,
       SUM(M.GIACENZA_INIZIALE) AS GIACENZA_INIZIALE,
       SUM(M.CARICO) AS CARICO,
       SUM(M.SCARICO) AS SCARICO,
       SUM(M.GIACENZA) AS GIACENZA,
       SUM(M.ORDINATO) AS ORDINATO,
       SUM(M.IMPEGNATO) AS IMPEGNATO,
       SUM(M.DISPONIBILE) AS DISPONIBILE,
       MAX(M.DATA_ULTIMO_MOVIMENTO) AS DATA_ULTIMO_MOVIMENTO
  FROM MOVIMENTO_ARTICOLO_DEPOSITO M
  JOIN SEDE_SOCIETA D ON D.ID = M.ID_DEPOSITO
 GROUP BY M.ID_ARTICOLO, D.IDSOCIETA, M.ANNO;

-- ---------------------------------------------------------------------------
-- Identifier generators
-- ---------------------------------------------------------------------------

CREATE TABLE ID_GENERATORE (
    NOME                VARCHAR(40)   NOT NULL PRIMARY KEY,
    ULTIMO              INTEGER       NOT NULL
);

INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_AZIENDA', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_SEDE', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_ZONA_POSTALE', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_DOCUMENTO', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_VOCI_DOCUMENTO', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_SCADENZARIO', 100000);
INSERT INTO ID_GENERATORE (NOME, ULTIMO) VALUES ('GET_ID_CC_USER', 100000);

CREATE TRIGGER TR_AZIENDA_ID AFTER INSERT ON AZIENDA
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_AZIENDA' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_SEDE_ID AFTER INSERT ON SEDE
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_SEDE' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_ZONA_POSTALE_ID AFTER INSERT ON ZONA_POSTALE
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_ZONA_POSTALE' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_DOCUMENTO_ID AFTER INSERT ON DOCUMENTO
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_DOCUMENTO' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_VOCI_DOCUMENTO_ID AFTER INSERT ON VOCI_DOCUMENTO
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_VOCI_DOCUMENTO' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_SCADENZARIO_ID AFTER INSERT ON SCADENZARIO
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_SCADENZARIO' AND ULTIMO < NEW.ID;
END;

CREATE TRIGGER TR_CC_USER_ID AFTER INSERT ON CC_USER
BEGIN
    UPDATE ID_GENERATORE SET ULTIMO = NEW.ID
     WHERE NOME = 'GET_ID_CC_USER' AND ULTIMO < NEW.ID;
END;

-- ---------------------------------------------------------------------------
-- Document totals
-- ---------------------------------------------------------------------------

-- AGGIORNA_TOTALI_DOCUMENTO: SQLite has no stored procedures, so a procedure
-- is a view of its parameters whose INSTEAD OF INSERT trigger holds the body;
-- the ODBC layer runs the call "{call AGGIORNA_TOTALI_DOCUMENTO( 7, 2, 2, 0.00)}"
-- as "INSERT INTO AGGIORNA_TOTALI_DOCUMENTO VALUES ( 7, 2, 2, 0.00)".
-- The rule is the PostgreSQL function's: line amounts rounded to the price
-- precision, summed per VAT rate; per rate the taxable amount rounded to the
-- total precision and its VAT (amount x rate / 100) rounded to the total
-- precision; the document's totals are the sums over the rates, and the
-- document total adds the rounding amount.
CREATE VIEW AGGIORNA_TOTALI_DOCUMENTO AS
SELECT 0 AS P_ID_DOCUMENTO, 0 AS P_PRECISIONE_PREZZI, 0 AS P_PRECISIONE_TOTALI,
       0.0 AS P_ARROTONDAMENTO
 WHERE 0;

CREATE TRIGGER TR_AGGIORNA_TOTALI_DOCUMENTO INSTEAD OF INSERT ON AGGIORNA_TOTALI_DOCUMENTO
BEGIN
    UPDATE DOCUMENTO
       SET (TOTALE_IMPONIBILE, TOTALE_IVA) = (
           SELECT ROUND(COALESCE(SUM(R.IMPONIBILE), 0), NEW.P_PRECISIONE_TOTALI),
                  ROUND(COALESCE(SUM(ROUND(R.IMPONIBILE * R.ALIQUOTA / 100, NEW.P_PRECISIONE_TOTALI)), 0),
                        NEW.P_PRECISIONE_TOTALI)
             FROM (SELECT COALESCE(ALIQUOTA_IVA, 0) AS ALIQUOTA,
                          ROUND(SUM(ROUND(COALESCE(IMPORTO, 0), NEW.P_PRECISIONE_PREZZI)),
                                NEW.P_PRECISIONE_TOTALI) AS IMPONIBILE
                     FROM VOCI_DOCUMENTO
                    WHERE ID_DOCUMENTO = NEW.P_ID_DOCUMENTO
                    GROUP BY COALESCE(ALIQUOTA_IVA, 0)) R)
     WHERE ID = NEW.P_ID_DOCUMENTO;
    UPDATE DOCUMENTO
       SET TOTALE_DOCUMENTO = ROUND(TOTALE_IMPONIBILE + TOTALE_IVA + COALESCE(NEW.P_ARROTONDAMENTO, 0),
                                    NEW.P_PRECISIONE_TOTALI)
     WHERE ID = NEW.P_ID_DOCUMENTO;
END;
