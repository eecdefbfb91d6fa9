#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Varek/Failures.h"

/// Texts that are each read, printed, and read again as the same value: printed as what is behind
/// " -> ", or as they are.
template<class T>
void expectTexts( std::initializer_list<std::string_view> all ) {
   for ( std::string_view const text : all ) {
      std::size_t const arrow = text.find( " -> " );
      try {
         T const value( text.substr( 0, arrow ) );
         std::string const printed = stringValue( value );
         EXPECT_EQ( printed, arrow == text.npos ? text : text.substr( arrow + 4 ) );
         EXPECT_EQ( T( std::string_view( printed ) ), value ) << text;
      } catch ( Varek::TextError const& error ) {
         ADD_FAILURE() << error.what();
      }
   }
}

/// Texts that no \p T is made from. The '^' in each, which is not part of it, is before the first
/// character that does not fit; \p expected is in what is then said to be allowed.
template<class T>
void expectRefused( std::string_view expected, std::initializer_list<std::string_view> marked ) {
   for ( std::string_view const one : marked ) {
      std::size_t const position = one.find( '^' );
      std::string const text =
         std::string( one.substr( 0, position ) ).append( one.substr( position + 1 ) );
      try {
         T const value{ std::string_view( text ) };
         ADD_FAILURE() << '"' << text << "\" was read as " << value;
      } catch ( Varek::TextError const& error ) {
         EXPECT_EQ( error.position(), position ) << '"' << text << "\": " << error.what();
         EXPECT_NE( error.expected().find( expected ), std::string::npos ) << error.what();
      }
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
