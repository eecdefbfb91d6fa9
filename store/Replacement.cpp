#include "store/Replacement.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "mirror/Socket.h"

namespace Store {

using Varek::escaped;

namespace fs = std::filesystem;

namespace {

constexpr std::size_t draftDigits = 6;
constexpr std::string_view draftAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";

/// The file to replace for \p path: the target of a symbolic link, not the link.
std::string placeOf( std::string const& path ) {
   std::error_code error;
   fs::file_status const status = fs::status( path, error );
   if ( !fs::exists( status ) ) {
      return path;
   }
   // Replacing would destroy a device, or a capture that somebody named by mistake.
   if ( !fs::is_regular_file( status ) ) {
      refuse( path, "is something else than a file" );
   }
   std::string begin( stateMagic.size(), '\0' );
   std::ifstream file( path, std::ios::binary );
   begin.resize(
      static_cast<std::size_t>( file.read( begin.data(), stateMagic.size() ).gcount() ) );
   if ( !stateMagic.starts_with( begin ) ) {
      refuse( path, "is no state file, and is not replaced by one" );
   }
   fs::path const whole = fs::canonical( path, error );
   return error ? path : whole.string();
}

std::string folderOf( std::string const& path ) {
   std::string const folder = fs::path( path ).parent_path().string();
   return folder.empty() ? "." : folder;
}

bool isDraftName( std::string_view name ) {
   return name.size() == draftPrefix.size() + draftDigits && name.starts_with( draftPrefix ) &&
          std::ranges::all_of( name.substr( draftPrefix.size() ), []( char c ) {
             return draftAlphabet.find( c ) != draftAlphabet.npos;
          } );
}

/// Whether the file has no name any more.
bool isRemoved( int file ) {
   struct stat about {};
   return ::fstat( file, &about ) == 0 && about.st_nlink == 0;
}

bool isNamed( int file, char const* name ) {
   struct stat about {};
   struct stat there {};
   return ::fstat( file, &about ) == 0 && ::lstat( name, &there ) == 0 &&
          about.st_dev == there.st_dev && about.st_ino == there.st_ino;
}

bool isOurDraft( int file ) {
   struct stat about {};
   char begin[stateMagic.size()];
   std::ptrdiff_t const got = ::pread( file, begin, sizeof begin, 0 );
   return got >= 0 && ::fstat( file, &about ) == 0 && S_ISREG( about.st_mode ) &&
          about.st_uid == ::geteuid() &&
          stateMagic.starts_with( std::string_view( begin, static_cast<std::size_t>( got ) ) );
}

/// An error does not prevent writing: a draft that cannot be removed stays for the next time.
void removeLeftDrafts( std::string const& folder ) {
   std::error_code error;
   fs::directory_iterator at( folder, error );
   for ( ; !error && at != fs::directory_iterator(); at.increment( error ) ) {
      if ( !isDraftName( at->path().filename().string() ) ) {
         continue;
      }
      std::string const name = at->path().string();
      Mirror::Fd const file( ::open( name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC ) );
      // Having the lock means that its writer is gone, unless the draft took its place meanwhile.
      if ( file.get() >= 0 && isOurDraft( file.get() ) &&
           ::flock( file.get(), LOCK_EX | LOCK_NB ) == 0 && isNamed( file.get(), name.c_str() ) ) {
         ::unlink( name.c_str() );
      }
   }
}

/// The new file until it takes its place; removed if it never does.
class DraftFile {
public:
   DraftFile( std::string const& path, std::string const& folder )
      : path_( path ), folder_( folder ) {}
   ~DraftFile() {
      if ( !name_.empty() ) {
         ::unlink( name_.c_str() );
      }
   }
   DraftFile( DraftFile const& ) = delete;
   DraftFile& operator=( DraftFile const& ) = delete;

   int fd() const { return file_.get(); }

   /// Makes a file without a name; false if the file system cannot.
   bool makeUnnamed() {
#ifdef O_TMPFILE
      file_ = Mirror::Fd( ::open( folder_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 ) );
#endif
      return file_.get() >= 0;
   }

   void makeNamed() {
      do {
         bool const made = withFreshName( [this]( char const* name ) {
            file_ = Mirror::Fd( ::open( name, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600 ) );
            return file_.get() >= 0;
         } );
         if ( !made ) {
            systemFailure( path_, "a file beside it cannot be made" );
         }
         lock();
         // Until then another process may have taken it for a left-behind file.
      } while ( isRemoved( file_.get() ) );
   }

   /// For a draft without a name. False if it cannot be given a name.
   bool giveName() {
      lock();
      // Only a privileged process may link by the descriptor itself.
      std::string const open = "/proc/self/fd/" + std::to_string( file_.get() );
      return withFreshName( [&]( char const* name ) {
         return ::linkat( AT_FDCWD, open.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW ) == 0;
      } );
   }

   /// Otherwise a power cut may leave the new name without the contents.
   void sync() const {
      if ( ::fsync( file_.get() ) != 0 ) {
         systemFailure( path_, "cannot be written" );
      }
   }

   void takePlace() {
      if ( ::rename( name_.c_str(), path_.c_str() ) != 0 ) {
         systemFailure( path_, "cannot be replaced" );
      }
      name_.clear();
   }

private:
   /// On a file system without locks, left-behind files stay.
   void lock() const { ::flock( file_.get(), LOCK_EX ); }

   /// Calls \p make with names until a name was free; false, with errno, for any other trouble.
   template<class Make>
   bool withFreshName( Make const& make ) {
      std::random_device random;
      do {
         std::string name = folder_ + "/" + std::string( draftPrefix );
         for ( std::size_t i = 0; i < draftDigits; ++i ) {
            name += draftAlphabet[random() % draftAlphabet.size()];
         }
         if ( make( name.c_str() ) ) {
            name_ = name;
            return true;
         }
      } while ( errno == EEXIST );
      return false;
   }

   std::string const& path_;
   std::string const& folder_;
   std::string name_; ///< Empty for none.
   Mirror::Fd file_;
};

void syncFolder( std::string const& path, std::string const& folder ) {
   Mirror::Fd const opened( ::open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) );
   if ( opened.get() >= 0 && ::fsync( opened.get() ) == 0 ) {
      return;
   }
   bool const cannot = opened.get() < 0 ? errno == EACCES : errno == EINVAL || errno == ENOTSUP;
   if ( !cannot ) {
      systemFailure( path, "is in its place, but may not be after a power cut, since its folder "
                           "cannot be synced" );
   }
}

} // namespace

void replaceState( std::string const& path, std::function<void( int file )> const& write,
                   Draft draft ) {
   std::string const place = placeOf( path );
   std::string const folder = folderOf( place );
   removeLeftDrafts( folder );
   DraftFile file( place, folder );
   bool named = false;
   if ( draft == Draft::unnamed && file.makeUnnamed() ) {
      write( file.fd() );
      file.sync();
      named = file.giveName();
   }
   if ( !named ) {
      file.makeNamed();
      write( file.fd() );
      file.sync();
   }
   file.takePlace();
   syncFolder( place, folder );
}

void systemFailure( std::string const& path, std::string const& doing, int error ) {
   throw Varek::Failure( escaped( path ) + ": " + doing + ": " +
                         std::generic_category().message( error ) );
}

void refuse( std::string const& path, std::string const& why ) {
   throw Varek::Failure( escaped( path ) + ": " + why );
}

} // namespace Store
