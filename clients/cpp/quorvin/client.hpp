// A photo library of quorvin in C++17: its methods, records and change events. Nothing but
// libquorvin and the standard library.
//
//     namespace qc = quorvin::client;
//     qc::Options options;
//     options.libraryPath = "/home/me/Photos/library";
//     qc::Library library(options);
//     for (const qc::Gallery& gallery : library.wait(library.getGalleryList())) {
//       std::cout << gallery.title << ": " << gallery.assetCount.totalCount << '\n';
//     }
#ifndef QUORVIN_CLIENT_HPP_
#define QUORVIN_CLIENT_HPP_

#include <quorvin/client/arguments.hpp>
#include <quorvin/client/changes.hpp>
#include <quorvin/client/codec.hpp>
#include <quorvin/client/engine.hpp>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/library.hpp>
#include <quorvin/client/records.hpp>
#include <quorvin/client/result.hpp>
#include <quorvin/client/value.hpp>

#endif  // QUORVIN_CLIENT_HPP_
