#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Varek/Failures.h"

/// A text that a constructor from text refuses: where, and a part of what it then says is allowed.
struct BadText {
   std::string_view text;
   std::size_t position;
   std::string_view expected = "";
};

template<class T>
void expectRefused( BadText const& bad ) {
   try {
      T const value( bad.text );
      ADD_FAILURE() << '"' << bad.text << "\" was read as " << value;
   } catch ( Varek::TextError const& error ) {
      EXPECT_EQ( error.position(), bad.position ) << '"' << bad.text << "\": " << error.what();
      EXPECT_NE( error.expected().find( bad.expected ), std::string::npos ) << error.what();
   }
}

/// That \p text is read, printed as \p printed, and read again as the same value.
template<class T>
void expectText( std::string_view text, std::string_view printed ) {
   try {
      T const value( text );
      EXPECT_EQ( stringValue( value ), printed );
      EXPECT_EQ( T( std::string_view( stringValue( value ) ) ), value ) << text;
   } catch ( Varek::TextError const& error ) {
      ADD_FAILURE() << error.what();
   }
}

/// That the values of \p texts are in ascending order, each with a hash of its own.
template<class T>
void expectOrdered( std::initializer_list<std::string_view> texts ) {
   for ( auto const& a : texts ) {
      for ( auto const& b : texts ) {
         T const one( a ), other( b );
         EXPECT_EQ( one <=> other, &a <=> &b ) << a << " and " << b;
         EXPECT_EQ( one == other, &a == &b ) << a << " and " << b;
         EXPECT_EQ( one.hash( 5 ) == other.hash( 5 ), &a == &b ) << a << " and " << b;
      }
   }
}
