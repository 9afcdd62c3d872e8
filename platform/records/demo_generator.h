// GenerateCompanyDatabase: fills a company database (schema already loaded) with made-up but
// consistent business data of any size: VAT rates, units, categories with families, groups,
// articles, provinces and postal zones, customers with their branches, and customer orders with
// their lines. Meant for benchmarks, load tests and `tarvo-exchange init --generate N`.
//
// Rows go in through prepared statements, one transaction per `batch` rows. Integer keys start
// above the highest key present, so the data can be added on top of the demo data; text keys
// carry the prefix "G" and collide when the same database is filled twice. Deterministic for a
// given size and seed. Throws CDBException when the database refuses a row (the open batch is
// rolled back; earlier batches stay).
#pragma once

#include "platform/odbc.h"

struct GeneratorSize {
  long articles = 1000;
  long customers = 100;
  int branchesPerCustomer = 2;
  long orders = 200;
  int linesPerOrder = 5;
  long batch = 5000;  // rows per transaction
  unsigned seed = 1;

  // A database shaped around `articles`: a customer per 10 articles, an order per 5, five lines
  // per order (at least one of each).
  static GeneratorSize ForArticles(long articles);
};

struct GeneratorCounts {
  long categories = 0, families = 0, groups = 0, vatRates = 0, units = 0, articles = 0;
  long provinces = 0, zones = 0, customers = 0, branches = 0, orders = 0, lines = 0;
  long Total() const {
    return categories + families + groups + vatRates + units + articles + provinces + zones + customers + branches +
           orders + lines;
  }
};

GeneratorCounts GenerateCompanyDatabase(CDatabase& db, const GeneratorSize& size);
