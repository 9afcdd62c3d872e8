#include "platform/records/demo_generator.h"

#include <algorithm>
#include <memory>
#include <random>
#include <set>

#include "platform/decimal.h"

namespace {

using tarvo::StrFormat;
using tarvo::W;

struct City {
  const char* cap;
  const char* name;
  const char* province;
  const char* provinceName;
  const char* region;
};

const City kCities[] = {
    {"20121", "MILANO", "MI", "Milano", "Lombardia"},        {"00184", "ROMA", "RM", "Roma", "Lazio"},
    {"10121", "TORINO", "TO", "Torino", "Piemonte"},         {"80133", "NAPOLI", "NA", "Napoli", "Campania"},
    {"40121", "BOLOGNA", "BO", "Bologna", "Emilia-Romagna"}, {"50123", "FIRENZE", "FI", "Firenze", "Toscana"},
    {"16121", "GENOVA", "GE", "Genova", "Liguria"},          {"30121", "VENEZIA", "VE", "Venezia", "Veneto"},
    {"70121", "BARI", "BA", "Bari", "Puglia"},               {"90133", "PALERMO", "PA", "Palermo", "Sicilia"},
    {"37121", "VERONA", "VR", "Verona", "Veneto"},           {"35122", "PADOVA", "PD", "Padova", "Veneto"},
    {"25121", "BRESCIA", "BS", "Brescia", "Lombardia"},      {"43121", "PARMA", "PR", "Parma", "Emilia-Romagna"},
    {"67100", "L'AQUILA", "AQ", "L'Aquila", "Abruzzo"},      {"95131", "CATANIA", "CT", "Catania", "Sicilia"},
    {"60121", "ANCONA", "AN", "Ancona", "Marche"},           {"09124", "CAGLIARI", "CA", "Cagliari", "Sardegna"},
    {"38122", "TRENTO", "TN", "Trento", "Trentino-Alto Adige"}, {"34121", "TRIESTE", "TS", "Trieste", "Friuli-Venezia Giulia"},
};
constexpr long kCityCount = sizeof(kCities) / sizeof(kCities[0]);

const char* const kProducts[] = {"Spaghetti", "Caffè", "Olio", "Vino rosso", "Detersivo", "Quaderno", "Penna",
                                 "Pentola", "Farina", "Riso", "Acqua minerale", "Tè verde", "Shampoo",
                                 "Sapone", "Biscotti", "Pomodori pelati"};
const char* const kQualities[] = {"classico", "biologico", "extra", "integrale", "qualità superiore", "leggero",
                                  "tradizionale", "al limone"};
const char* const kSizes[] = {"250 g", "500 g", "1 kg", "1 l", "6 pz", "750 ml"};
const char* const kSurnames[] = {"Rossi", "Bianchi", "Ferrari", "Esposito", "Romano", "Colombo", "Ricci", "Marino",
                                 "Greco", "Bruno", "Gallo", "Conti", "De Luca", "Mancini", "Costa", "Nicolò"};
const char* const kTrades[] = {"Alimentari", "Distribuzione", "Commerciale", "Forniture", "Market", "Ingrosso"};
const char* const kForms[] = {"S.r.l.", "S.p.A.", "& C. S.n.c.", "S.a.s."};
const char* const kStreets[] = {"Via Roma", "Corso Italia", "Via Garibaldi", "Piazza Duomo", "Via Mazzini",
                                "Viale dei Mille", "Via dell'Università"};

struct Vat {
  const char* code;
  const char* description;
  const char* rate;
};
const Vat kVat[] = {{"G22", "Aliquota ordinaria 22%", "22"},
                    {"G10", "Aliquota ridotta 10%", "10"},
                    {"G04", "Aliquota minima 4%", "4"}};
const char* const kUnits[][2] = {{"GPZ", "Pezzi"}, {"GKG", "Chilogrammi"}, {"GLT", "Litri"}, {"GCF", "Confezioni"},
                                 {"GCT", "Cartoni"}};
const int kOrderStates[] = {1, 2, 5, 6};

template <size_t N>
const char* Pick(const char* const (&list)[N], long i) {
  return list[static_cast<size_t>(i) % N];
}

// Prepared inserts, committed every `batch` rows.
class Loader {
 public:
  Loader(CDatabase& db, long batch) : db_(db), batch_(std::max(1L, batch)) { db_.BeginTrans(); }
  ~Loader() {
    if (db_.InTransaction()) {
      try {
        db_.Rollback();
      } catch (...) {  // a destructor never throws; the caller sees the first error
      }
    }
  }
  CODBCStatement& Prepare(const CString& sql) {
    statements_.push_back(std::make_unique<CODBCStatement>(&db_));
    statements_.back()->Prepare(sql);
    return *statements_.back();
  }
  void Insert(CODBCStatement& statement, const std::vector<CDBValue>& values) {
    statement.Execute(values);
    if (++pending_ >= batch_) {
      db_.CommitTrans();
      db_.BeginTrans();
      pending_ = 0;
    }
  }
  void Finish() { db_.CommitTrans(); }

 private:
  CDatabase& db_;
  long batch_;
  long pending_ = 0;
  std::vector<std::unique_ptr<CODBCStatement>> statements_;
};

long long Scalar(CDatabase& db, const CString& sql) {
  CODBCRecordset rs(&db);
  rs.Open(sql);
  return rs.IsEOF() ? 0 : rs.Field(0).AsInt64();
}

CDBValue Text(const char* utf8) { return W(utf8); }
CDBValue Num(const Decimal& d) { return d.ToDouble(); }

}  // namespace

GeneratorSize GeneratorSize::ForArticles(long articles) {
  GeneratorSize size;
  size.articles = std::max(1L, articles);
  size.customers = std::max(1L, articles / 10);
  size.orders = std::max(1L, articles / 5);
  return size;
}

GeneratorCounts GenerateCompanyDatabase(CDatabase& db, const GeneratorSize& size) {
  GeneratorCounts counts;
  std::mt19937 rng(size.seed);
  auto random = [&](long lo, long hi) { return std::uniform_int_distribution<long>(lo, hi)(rng); };
  const CDBTimestamp inserted{2026, 1, 2, 9, 0, 0};

  // Keys already present (the generator adds to what is there).
  long nextProvince = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM PROVINCIA")) + 1;
  long nextZone = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM ZONA_POSTALE")) + 1;
  long nextCustomer = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM AZIENDA")) + 1;
  long nextBranch = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM SEDE")) + 1;
  long nextOrder = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM DOCUMENTO")) + 1;
  long nextLine = static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(ID), 0) FROM VOCI_DOCUMENTO")) + 1;
  long nextNumber =
      static_cast<long>(Scalar(db, "SELECT COALESCE(MAX(NUMERO), 0) FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND ANNO = 2026")) + 1;
  long company = static_cast<long>(Scalar(db, "SELECT COALESCE(MIN(ID), 0) FROM SOCIETA"));
  long site = company ? static_cast<long>(Scalar(db, StrFormat("SELECT COALESCE(MIN(ID), 0) FROM SEDE_SOCIETA "
                                                               "WHERE IDSOCIETA = %ld", company)))
                      : 0;
  std::set<CString> provinces;
  {
    CODBCRecordset rs(&db);
    for (rs.Open("SELECT SIGLA FROM PROVINCIA"); !rs.IsEOF(); rs.MoveNext()) provinces.insert(rs.Field(0).AsString());
  }

  Loader load(db, size.batch);
  if (company == 0) {
    company = 1;
    site = 1;
    db.ExecuteSQL("INSERT INTO SOCIETA (ID, RAGIONESOCIALE, PARTITAIVA) VALUES (1, 'Tarvo Prova S.r.l.', '01234567890')");
    db.ExecuteSQL("INSERT INTO SEDE_SOCIETA (ID, IDSOCIETA, DESCRIZIONE, F_SEDE_LEGALE, F_DEPOSITO) "
                  "VALUES (1, 1, 'Sede e magazzino', 1, 1)");
  }

  // Article master.
  CODBCStatement& vat = load.Prepare("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES (?, ?, ?)");
  for (const Vat& v : kVat) {
    load.Insert(vat, {Text(v.code), Text(v.description), Num(Decimal(CString(v.rate)))});
    ++counts.vatRates;
  }
  CODBCStatement& unit = load.Prepare("INSERT INTO UNITA_MISURA (ID, DESCRIZIONE) VALUES (?, ?)");
  for (const auto& u : kUnits) {
    load.Insert(unit, {Text(u[0]), Text(u[1])});
    ++counts.units;
  }
  const long categories = std::clamp(size.articles / 1000, 5L, 999L);
  const int familiesPerCategory = 4;
  CODBCStatement& category =
      load.Prepare("INSERT INTO CATEGORIA (ID, DESCRIZIONE, NOTE, F_PUBBLICA) VALUES (?, ?, ?, ?)");
  CODBCStatement& family =
      load.Prepare("INSERT INTO FAMIGLIA (ID, DESCRIZIONE, ID_CATEGORIA, F_PUBBLICA) VALUES (?, ?, ?, ?)");
  for (long c = 1; c <= categories; ++c) {
    CString id = StrFormat("G%03ld", c);
    load.Insert(category, {id, W("Categoria ") + W(Pick(kProducts, c - 1)), W("Generata per le prove di carico"),
                           static_cast<long long>(c % 5 != 0)});
    ++counts.categories;
    for (int f = 1; f <= familiesPerCategory; ++f) {
      load.Insert(family, {StrFormat("G%03ld%d", c, f), W("Famiglia ") + W(Pick(kQualities, f)) + " " + id, id,
                           static_cast<long long>(c % 5 != 0)});
      ++counts.families;
    }
  }
  CODBCStatement& group = load.Prepare("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES (?, ?)");
  for (int g = 1; g <= 4; ++g) {
    load.Insert(group, {StrFormat("G%d", g), W("Gruppo ") + W(Pick(kQualities, g))});
    ++counts.groups;
  }
  CODBCStatement& article = load.Prepare(
      "INSERT INTO ARTICOLO (ID, CODICE_BARRE, DESCRIZIONE, DESCRIZIONE_BREVE, ID_UNITA_MISURA, CODICE_IVA, "
      "ID_CATEGORIA, ID_FAMIGLIA, ID_GRUPPO, PREZZO, PREZZO_2, COSTO, SCONTO_1, PROVVIGIONE, CONFEZIONE, "
      "PRODUTTORE, F_ATTIVO, DATA_INSERIMENTO, FOTO) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  std::vector<Decimal> prices;
  std::vector<int> vatOf;
  prices.reserve(static_cast<size_t>(size.articles));
  vatOf.reserve(static_cast<size_t>(size.articles));
  for (long a = 1; a <= size.articles; ++a) {
    const long c = random(1, categories);
    const int v = static_cast<int>(random(0, 2));
    Decimal price = Decimal(random(50, 250000)) / Decimal(100);
    price.Round3(2);
    prices.push_back(price);
    vatOf.push_back(v);
    CString name = W(Pick(kProducts, random(0, 15))) + " " + W(Pick(kQualities, random(0, 7))) + " " +
                   Pick(kSizes, random(0, 5));
    load.Insert(article, {StrFormat("G%07ld", a), StrFormat("80%011ld", a), name, name.substr(0, 20),
                          Text(kUnits[random(0, 4)][0]), Text(kVat[v].code), StrFormat("G%03ld", c),
                          StrFormat("G%03ld%ld", c, random(1, familiesPerCategory)), StrFormat("G%ld", random(1, 4)),
                          Num(price), Num((price * Decimal(CString("0.9"))).Round3(2)),
                          Num((price * Decimal(CString("0.6"))).Round3(2)), 0.0, 5.0,
                          static_cast<long long>(Pick(kSizes, a)[0] == '6' ? 6 : 12),
                          W(Pick(kSurnames, a)) + " Produzioni", static_cast<long long>(a % 50 != 0), inserted,
                          StrFormat("g%07ld.jpg", a)});
    ++counts.articles;
  }

  // Geography.
  CODBCStatement& province =
      load.Prepare("INSERT INTO PROVINCIA (ID, SIGLA, NOMEPROVINCIA, REGIONE) VALUES (?, ?, ?, ?)");
  for (const City& city : kCities) {
    if (!provinces.insert(city.province).second) continue;
    load.Insert(province, {static_cast<long long>(nextProvince++), Text(city.province), Text(city.provinceName),
                           Text(city.region)});
    ++counts.provinces;
  }
  const long zonesPerCity = std::max(1L, size.customers / 200);
  const long firstZone = nextZone;
  CODBCStatement& zone = load.Prepare(
      "INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE, SIGLAPROVINCIA, CODICEISTAT) VALUES (?, ?, ?, ?, ?)");
  for (long z = 0; z < kCityCount * zonesPerCity; ++z) {
    const City& city = kCities[z % kCityCount];
    CString name = z < kCityCount ? CString(city.name) : StrFormat("%s - ZONA %ld", city.name, z / kCityCount + 1);
    load.Insert(zone, {static_cast<long long>(nextZone++), Text(city.cap), name, Text(city.province),
                       StrFormat("%06ld", 10000 + z)});
    ++counts.zones;
  }

  // Customers and their branches.
  const long firstCustomer = nextCustomer, firstBranch = nextBranch;
  const int branches = std::max(1, size.branchesPerCustomer);
  CODBCStatement& customer = load.Prepare(
      "INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA, CODICEFISCALE, EMAIL, CODICE_CLIENTE, FIDO, LISTINO, "
      "F_FORNITORE, F_CLIENTE, DATA_INSERIMENTO) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  CODBCStatement& branch = load.Prepare(
      "INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE, INDIRIZZO, IDZONAPOSTALE, F_SEDE_PRINCIPALE) "
      "VALUES (?, ?, ?, ?, ?, ?)");
  for (long c = 0; c < size.customers; ++c) {
    const long id = nextCustomer++;
    CString name = W(Pick(kSurnames, random(0, 15))) + " " + Pick(kTrades, random(0, 5)) + " " + Pick(kForms, c);
    CString vatNumber = StrFormat("%011lld", 10000000000LL + static_cast<long long>(id) * 7919);
    load.Insert(customer, {static_cast<long long>(id), name, vatNumber, vatNumber,
                           StrFormat("cliente%ld@esempio.it", id), StrFormat("%06ld", id), 5000.0, CString("1"), 0LL,
                           1LL, inserted});
    ++counts.customers;
    for (int b = 0; b < branches; ++b) {
      const long z = firstZone + random(0, counts.zones - 1);
      load.Insert(branch, {static_cast<long long>(nextBranch++), static_cast<long long>(id),
                           CString(b == 0 ? "Sede principale" : "Punto vendita"),
                           W(Pick(kStreets, random(0, 6))) + StrFormat(", %ld", random(1, 200)),
                           static_cast<long long>(z), static_cast<long long>(b == 0)});
      ++counts.branches;
    }
  }

  // Orders and their lines.
  CODBCStatement& order = load.Prepare(
      "INSERT INTO DOCUMENTO (ID, ID_CAUSALE, SERIE, NUMERO, ANNO, NUMERO_DOCUMENTO, DATA_DOCUMENTO, ID_SOCIETA, "
      "ID_SEDE_SOCIETA, ID_DEPOSITO, CLI_FAT_ID, CLI_FAT_SEDE_ID, CLI_FAT_RAGIONESOCIALE, CLI_FAT_PARTITAIVA, "
      "ID_STATO_ORDINE, F_MODIFICATO, TOTALE_IMPONIBILE, TOTALE_IVA, TOTALE_DOCUMENTO) "
      "VALUES (?, 15, '', ?, 2026, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  CODBCStatement& line = load.Prepare(
      "INSERT INTO VOCI_DOCUMENTO (ID, ID_DOCUMENTO, TIPO, ID_ARTICOLO, DESCRIZIONE, QUANTITA, PREZZO, PREZZO_NETTO, "
      "IMPORTO, IMPORTO_IVA, CODICE_IVA, ALIQUOTA_IVA) VALUES (?, ?, 'A', ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  const int lines = std::max(1, size.linesPerOrder);
  std::vector<std::vector<CDBValue>> pending;
  for (long o = 0; o < size.orders && size.customers > 0 && size.articles > 0; ++o) {
    const long id = nextOrder++, number = nextNumber++;
    const long c = random(0, size.customers - 1);
    Decimal taxable, tax;
    pending.clear();
    for (int l = 0; l < lines; ++l) {
      const long a = random(0, size.articles - 1);
      Decimal qty(random(1, 24));
      Decimal amount = (prices[static_cast<size_t>(a)] * qty).Round3(2);
      Decimal rate(CString(kVat[vatOf[static_cast<size_t>(a)]].rate));
      Decimal vatAmount = (amount * rate / Decimal(100)).Round3(2);
      taxable += amount;
      tax += vatAmount;
      pending.push_back({static_cast<long long>(nextLine++), static_cast<long long>(id),
                         StrFormat("G%07ld", a + 1), StrFormat("Articolo G%07ld", a + 1), Num(qty),
                         Num(prices[static_cast<size_t>(a)]), Num(prices[static_cast<size_t>(a)]), Num(amount),
                         Num(vatAmount), Text(kVat[vatOf[static_cast<size_t>(a)]].code), Num(rate)});
    }
    const long customerId = firstCustomer + c;
    load.Insert(order, {static_cast<long long>(id), static_cast<long long>(number), StrFormat("%ld", number),
                        CDBTimestamp{2026, static_cast<int>(o % 12) + 1, static_cast<int>(o % 28) + 1, 0, 0, 0},
                        static_cast<long long>(company), static_cast<long long>(site), static_cast<long long>(site),
                        static_cast<long long>(customerId),
                        static_cast<long long>(firstBranch + c * branches), StrFormat("Cliente %ld", customerId),
                        StrFormat("%011lld", 10000000000LL + static_cast<long long>(customerId) * 7919),
                        static_cast<long long>(kOrderStates[o % 4]), static_cast<long long>(o % 3 == 0),
                        Num(taxable), Num(tax), Num(taxable + tax)});
    ++counts.orders;
    for (const auto& values : pending) {
      load.Insert(line, values);
      ++counts.lines;
    }
  }
  load.Finish();
  return counts;
}
