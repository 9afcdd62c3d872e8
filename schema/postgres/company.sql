-- Company database, PostgreSQL 15 dialect.
--
-- Tables, views and stored functions of the business database that the
-- exchange procedures read and write. Load into an empty database:
--     psql -v ON_ERROR_STOP=1 -f company.sql
-- The procedure table ESPORTAZIONE lives in esportazione.sql.
--
-- Identifiers are unquoted upper-case names; PostgreSQL folds them to lower
-- case, so unquoted names in any case reach them.
--
-- New keys: SELECT GET_ID_AZIENDA(); (and the other GET_ID_* functions)
-- returns one row with one integer column. Rows inserted with a NULL or
-- omitted ID get their key from the same function through a trigger.

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
    ALIQUOTA            DOUBLE PRECISION
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
    PREZZO              DOUBLE PRECISION,
    PREZZO_2            DOUBLE PRECISION,
    COSTO               DOUBLE PRECISION,
    SCONTO_1            DOUBLE PRECISION,
    SCONTO_2            DOUBLE PRECISION,
    SCONTO_3            DOUBLE PRECISION,
    PROVVIGIONE         DOUBLE PRECISION,
    CONFEZIONE          INTEGER       NOT NULL DEFAULT 1,
    PREZZO_ACQUISTO     DOUBLE PRECISION,
    PESO                DOUBLE PRECISION,
    VOLUME              DOUBLE PRECISION,
    SCORTA_MINIMA       DOUBLE PRECISION,
    QTA_RIORDINO        DOUBLE PRECISION,
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
    PERC_PROVVIGIONE    DOUBLE PRECISION,
    IDSOCIETA           INTEGER
);

-- ---------------------------------------------------------------------------
-- Commercial tables: discount bands, payment terms, banks, transport
-- ---------------------------------------------------------------------------

CREATE TABLE SCONTO (
    ID                  VARCHAR(10)   NOT NULL PRIMARY KEY,
    DESCRIZIONE         VARCHAR(60),
    SCONTO_1            DOUBLE PRECISION,
    SCONTO_2            DOUBLE PRECISION,
    SCONTO_3            DOUBLE PRECISION,
    SCONTO_4            DOUBLE PRECISION,
    SCONTO_5            DOUBLE PRECISION
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
    FIDO                DOUBLE PRECISION,
    SCONTO_1            DOUBLE PRECISION,
    SCONTO_2            DOUBLE PRECISION,
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
    SCONTO              DOUBLE PRECISION,
    SPESE_TRASPORTO     DOUBLE PRECISION,
    ID_BANCA            INTEGER,
    ID_FORMULA_PAGAMENTO INTEGER,
    ID_TRASPORTO        INTEGER,
    ID_PORTO_MERCI      INTEGER,
    ID_STATO_ORDINE     INTEGER,
    F_MODIFICATO        INTEGER       NOT NULL DEFAULT 0,
    F_STAMPATO          INTEGER       NOT NULL DEFAULT 0,
    TOTALE_IMPONIBILE   DOUBLE PRECISION,
    TOTALE_IVA          DOUBLE PRECISION,
    TOTALE_DOCUMENTO    DOUBLE PRECISION
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
    QUANTITA            DOUBLE PRECISION,
    COLLI               INTEGER,
    PREZZO              DOUBLE PRECISION,
    PREZZO_NETTO        DOUBLE PRECISION,
    QUANTITA_EVASA      DOUBLE PRECISION,
    IMPORTO             DOUBLE PRECISION,
    IMPORTO_IVA         DOUBLE PRECISION,
    SCONTO_1            DOUBLE PRECISION,
    SCONTO_2            DOUBLE PRECISION,
    SCONTO_3            DOUBLE PRECISION,
    SCONTO_4            DOUBLE PRECISION,
    SCONTO_5            DOUBLE PRECISION,
    SCONTO_TESTATA      DOUBLE PRECISION,
    CODICE_IVA          VARCHAR(5),
    ALIQUOTA_IVA        DOUBLE PRECISION,
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
    IMPORTO             DOUBLE PRECISION,
    IMPORTO_PAGATO      DOUBLE PRECISION,
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
    GIACENZA_INIZIALE   DOUBLE PRECISION,
    CARICO              DOUBLE PRECISION,
    SCARICO             DOUBLE PRECISION,
    GIACENZA            DOUBLE PRECISION,
    ID_SOCIETA          INTEGER,
    ORDINATO            DOUBLE PRECISION,
    IMPEGNATO           DOUBLE PRECISION,
    DISPONIBILE         DOUBLE PRECISION,
    DATA_ULTIMO_MOVIMENTO TIMESTAMP,
    PRIMARY KEY (ID_ARTICOLO, ID_DEPOSITO, ANNO)
);

-- Company-wide stock per article and year.
CREATE TABLE MOVIMENTO_ARTICOLO_SOCIETA (
    ID_ARTICOLO         VARCHAR(20)   NOT NULL,
    ID_SOCIETA          INTEGER       NOT NULL,
    ANNO                INTEGER       NOT NULL,
    GIACENZA_INIZIALE   DOUBLE PRECISION,
    CARICO              DOUBLE PRECISION,
    SCARICO             DOUBLE PRECISION,
    GIACENZA            DOUBLE PRECISION,
    ORDINATO            DOUBLE PRECISION,
    IMPEGNATO           DOUBLE PRECISION,
    DISPONIBILE         DOUBLE PRECISION,
    DATA_ULTIMO_MOVIMENTO TIMESTAMP,
    PRIMARY KEY (ID_ARTICOLO, ID_SOCIETA, ANNO)
);

-- Warehouse journal; the article import empties it.
CREATE TABLE LOG_MAGAZZINO (
    ID                  INTEGER       NOT NULL PRIMARY KEY,
    ID_ARTICOLO         VARCHAR(20),
    ID_DEPOSITO         INTEGER,
    DATA                TIMESTAMP,
    QUANTITA            DOUBLE PRECISION,
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

-- Next value of a sequence, never at or below the highest key in use: rows
-- stored with explicit keys (copies, hand edits) push the sequence on.
CREATE FUNCTION NUOVO_ID(P_SEQUENZA REGCLASS, P_MASSIMO INTEGER)
RETURNS INTEGER
LANGUAGE plpgsql VOLATILE AS $$
DECLARE
    V BIGINT;
BEGIN
    V := nextval(P_SEQUENZA);
    IF P_MASSIMO IS NOT NULL AND V <= P_MASSIMO THEN
        V := P_MASSIMO + 1;
        PERFORM setval(P_SEQUENZA, V, true);
    END IF;
    RETURN V::INTEGER;
END;
$$;

-- Trigger: gives a row inserted without ID the key of the generator named
-- as the trigger's argument.
CREATE FUNCTION IMPOSTA_ID()
RETURNS TRIGGER
LANGUAGE plpgsql AS $$
BEGIN
    IF NEW.ID IS NULL THEN
        EXECUTE 'SELECT ' || TG_ARGV[0] || '()' INTO NEW.ID;
    END IF;
    RETURN NEW;
END;
$$;

CREATE SEQUENCE SEQ_AZIENDA START WITH 100001;

CREATE FUNCTION GET_ID_AZIENDA()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_AZIENDA', (SELECT MAX(ID) FROM AZIENDA));
$$;

CREATE TRIGGER TR_AZIENDA_ID BEFORE INSERT ON AZIENDA
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_AZIENDA');

CREATE SEQUENCE SEQ_SEDE START WITH 100001;

CREATE FUNCTION GET_ID_SEDE()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_SEDE', (SELECT MAX(ID) FROM SEDE));
$$;

CREATE TRIGGER TR_SEDE_ID BEFORE INSERT ON SEDE
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_SEDE');

CREATE SEQUENCE SEQ_ZONA_POSTALE START WITH 100001;

CREATE FUNCTION GET_ID_ZONA_POSTALE()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_ZONA_POSTALE', (SELECT MAX(ID) FROM ZONA_POSTALE));
$$;

CREATE TRIGGER TR_ZONA_POSTALE_ID BEFORE INSERT ON ZONA_POSTALE
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_ZONA_POSTALE');

CREATE SEQUENCE SEQ_DOCUMENTO START WITH 100001;

CREATE FUNCTION GET_ID_DOCUMENTO()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_DOCUMENTO', (SELECT MAX(ID) FROM DOCUMENTO));
$$;

CREATE TRIGGER TR_DOCUMENTO_ID BEFORE INSERT ON DOCUMENTO
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_DOCUMENTO');

CREATE SEQUENCE SEQ_VOCI_DOCUMENTO START WITH 100001;

CREATE FUNCTION GET_ID_VOCI_DOCUMENTO()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_VOCI_DOCUMENTO', (SELECT MAX(ID) FROM VOCI_DOCUMENTO));
$$;

CREATE TRIGGER TR_VOCI_DOCUMENTO_ID BEFORE INSERT ON VOCI_DOCUMENTO
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_VOCI_DOCUMENTO');

CREATE SEQUENCE SEQ_SCADENZARIO START WITH 100001;

CREATE FUNCTION GET_ID_SCADENZARIO()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_SCADENZARIO', (SELECT MAX(ID) FROM SCADENZARIO));
$$;

CREATE TRIGGER TR_SCADENZARIO_ID BEFORE INSERT ON SCADENZARIO
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_SCADENZARIO');

CREATE SEQUENCE SEQ_CC_USER START WITH 100001;

CREATE FUNCTION GET_ID_CC_USER()
RETURNS INTEGER
LANGUAGE sql VOLATILE AS $$
    SELECT NUOVO_ID('SEQ_CC_USER', (SELECT MAX(ID) FROM CC_USER));
$$;

CREATE TRIGGER TR_CC_USER_ID BEFORE INSERT ON CC_USER
    FOR EACH ROW EXECUTE FUNCTION IMPOSTA_ID('GET_ID_CC_USER');

-- ---------------------------------------------------------------------------
-- Document totals
-- ---------------------------------------------------------------------------

-- Recomputes the totals of a document from its lines:
--   {call AGGIORNA_TOTALI_DOCUMENTO(document, price precision,
--                                   total precision, rounding)}
-- The VAT summary of an Italian invoice: each line's amount (IMPORTO, none
-- counting as 0) rounded to the price precision; the lines grouped by VAT
-- rate (ALIQUOTA_IVA, none counting as 0); per rate, the taxable amount is
-- the sum of its lines rounded to the total precision and its VAT that
-- amount x rate / 100 rounded to the total precision (VAT is computed per
-- rate, never per line). TOTALE_IMPONIBILE and TOTALE_IVA are the sums over
-- the rates, TOTALE_DOCUMENTO = both + the rounding amount, rounded to the
-- total precision. A document without lines gets zero totals. Returns the
-- number of documents updated (0 or 1). The SQLite schema has the same rule.
CREATE FUNCTION AGGIORNA_TOTALI_DOCUMENTO(
    P_ID_DOCUMENTO INTEGER,
    P_PRECISIONE_PREZZI INTEGER,
    P_PRECISIONE_TOTALI INTEGER,
    P_ARROTONDAMENTO NUMERIC)
RETURNS INTEGER
LANGUAGE plpgsql VOLATILE AS $$
DECLARE
    V_IMPONIBILE NUMERIC;
    V_IVA NUMERIC;
    V_RIGHE INTEGER;
BEGIN
    SELECT COALESCE(SUM(R.IMPONIBILE), 0),
           COALESCE(SUM(ROUND(R.IMPONIBILE * R.ALIQUOTA / 100, P_PRECISIONE_TOTALI)), 0)
      INTO V_IMPONIBILE, V_IVA
      FROM (SELECT COALESCE(ALIQUOTA_IVA, 0)::NUMERIC AS ALIQUOTA,
                   ROUND(SUM(ROUND(COALESCE(IMPORTO, 0)::NUMERIC, P_PRECISIONE_PREZZI)),
                         P_PRECISIONE_TOTALI) AS IMPONIBILE
              FROM VOCI_DOCUMENTO
             WHERE ID_DOCUMENTO = P_ID_DOCUMENTO
             GROUP BY COALESCE(ALIQUOTA_IVA, 0)) R;

    UPDATE DOCUMENTO
       SET TOTALE_IMPONIBILE = V_IMPONIBILE,
           TOTALE_IVA = V_IVA,
           TOTALE_DOCUMENTO = ROUND(V_IMPONIBILE + V_IVA + COALESCE(P_ARROTONDAMENTO, 0),
                                    P_PRECISIONE_TOTALI)
     WHERE ID = P_ID_DOCUMENTO;
    GET DIAGNOSTICS V_RIGHE = ROW_COUNT;
    RETURN V_RIGHE;
END;
$$;
